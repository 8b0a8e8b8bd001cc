// koradctl incidents: what a monitor sends comes out one line each and leaves the
// outbound queue; what belongs to other readers stays on it; a follower shows what
// arrives while it runs.
#include <chrono>
#include <thread>

#include "ctl_test_support.h"
#include "incident/incident_forms.h"
#include "incidents_command.h"
#include "platform/incident_object.h"

namespace korad::ctl::testing {
namespace {

class IncidentsTest : public CtlTest {
 protected:
  // Runs a follower on its own thread; Finish waits for it to end by itself, and stops
  // it after a while so that a fault fails the test instead of hanging it.
  class Follower {
   public:
    Follower(const IncidentsOptions& options, std::atomic<bool>& stop)
        : m_stop(stop), m_thread([this, options] {
            m_code = Incidents(options, m_out, m_err, m_stop);
            m_done.store(true);
          }) {}
    bool Finish() {
      const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
      while (!m_done.load() && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
      }
      const bool byItself = m_done.load();
      m_stop.store(true);
      m_thread.join();
      return byItself;
    }
    int Code() const { return m_code; }
    std::string Out() const { return m_out.str(); }
    std::string Err() const { return m_err.str(); }

   private:
    std::atomic<bool>& m_stop;
    std::ostringstream m_out, m_err;
    std::atomic<bool> m_done{false};
    int m_code = -1;
    std::thread m_thread;
  };

  // Targets of the messages still on the router queue, oldest first.
  static std::vector<std::string> TargetsLeft() {
    std::vector<std::string> targets;
    for (const ConnectorMessage& message : Queue("MvRouterQ")->Peek(100)) targets.push_back(message.TargetQueue());
    return targets;
  }
};

TEST_F(IncidentsTest, IncidentsAreTakenAndPrintedWhileDataCollectionStaysQueuedInOrder) {
  Report cpu;
  SendIncident(cpu);
  const std::string collection = SendDataCollection("<TrackedObjects/>");
  Report updated = cpu;
  updated.updated = true;
  SendIncident(updated);
  Report resolved;
  resolved.resource = "db02";
  resolved.condition = "DiskFull";
  resolved.alertStatus = AlertOff;
  resolved.attributes = {{"Drive", "D:"}, {"Name", "data"}};
  SendIncident(resolved);

  const RunResult result = Run({"incidents"});
  ASSERT_EQ(result.code, kExitOk) << result.err;
  EXPECT_EQ(Lines(result.out), (std::vector<std::string>{
                                    "2024-01-15T12:00:00Z | new | web01 | CPUHigh | Drive=C:",
                                    "2024-01-15T12:00:00Z | updated | web01 | CPUHigh | Drive=C:",
                                    "2024-01-15T12:00:00Z | resolved | db02 | DiskFull | Drive=D:, Name=data",
                                }));
  EXPECT_EQ(result.err, "koradctl: left 1 message(s) for MvDataCollectionQ on MvRouterQ\n");

  // The data collection message is the only one left, untouched.
  const std::vector<ConnectorMessage> left = Queue("MvRouterQ")->Peek(10);
  ASSERT_EQ(left.size(), 1u);
  EXPECT_EQ(left[0].MessageId(), collection);
  EXPECT_EQ(left[0].Body(), "***mvStartDataCollection***<TrackedObjects/>***mvEndDataCollection***");

  // A second run finds no incident, and says again what it leaves.
  const RunResult again = Run({"incidents"});
  EXPECT_EQ(again.code, kExitOk);
  EXPECT_EQ(again.out, "");
  EXPECT_EQ(again.err, result.err);
}

TEST_F(IncidentsTest, TheTextFormIsReadAndAnUnreadableIncidentIsLeftWithItsError) {
  IncidentObject incident;
  incident.SetItem("Class", Value("ServiceDown(Resolved)"));
  incident.SetItem("OccurrenceUniversal", Value("2024-03-05T10:30:00Z"));
  incident.SetItem("Source", Value("app01"));
  incident.SetItem("KeyAttributes", Value("Service,Port"));
  incident.SetItem("Service", Value("nginx"));
  incident.SetItem("mvModule", Value("ServiceMon"));
  SendIncident(incident.TextForm());
  const std::string broken = SendIncident("[Incident]\r\nClass=No line end");
  SendIncident(Report{});

  const RunResult result = Run({"incidents", "--verbose"});
  ASSERT_EQ(result.code, kExitOk);
  const std::vector<std::string> lines = Lines(result.out);
  ASSERT_GE(lines.size(), 5u);
  EXPECT_EQ(lines[0], "2024-03-05T10:30:00Z | resolved | app01 | ServiceDown | Service=nginx, Port=");
  EXPECT_EQ(lines[1], "    OccurrenceUniversal=2024-03-05T10:30:00Z");
  EXPECT_EQ(lines[2], "    Service=nginx");
  EXPECT_EQ(lines[3], "    mvModule=ServiceMon");
  EXPECT_EQ(lines[4], "2024-01-15T12:00:00Z | new | web01 | CPUHigh | Drive=C:");
  EXPECT_NE(result.err.find("koradctl: left unreadable incident message " + broken + " on MvRouterQ: "),
            std::string::npos)
      << result.err;
  EXPECT_EQ(TargetsLeft(), std::vector<std::string>{"mvIncidentQ"}) << "the unreadable one stays";
}

TEST_F(IncidentsTest, KeepLeavesEverythingAndAMissingQueueFailsWithoutFollow) {
  const RunResult missing = Run({"incidents"});
  EXPECT_EQ(missing.code, kExitFailure);
  EXPECT_NE(missing.err.find("no queue 'MvRouterQ'"), std::string::npos) << missing.err;

  SendIncident(Report{});
  SendDataCollection("<x/>");
  const RunResult kept = Run({"incidents", "--keep"});
  EXPECT_EQ(kept.code, kExitOk);
  EXPECT_EQ(Lines(kept.out).size(), 1u);
  EXPECT_EQ(TargetsLeft(), (std::vector<std::string>{"mvIncidentQ", "MvDataCollectionQ"}));

  // --count stops early and takes no more than it printed.
  SendIncident(Report{});
  const RunResult one = Run({"incidents", "--count", "1"});
  EXPECT_EQ(Lines(one.out).size(), 1u);
  EXPECT_EQ(TargetsLeft(), (std::vector<std::string>{"MvDataCollectionQ", "mvIncidentQ"}));
}

TEST_F(IncidentsTest, AFollowerShowsWhatArrivesWhileItRunsAndEachIncidentOnce) {
  SendIncident(Report{});
  IncidentsOptions options;
  options.follow = true;
  options.keep = true;  // shown once each though they stay
  options.intervalMs = 10;
  options.maxCount = 3;
  Follower follower(options, m_stop);

  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  SendDataCollection("<a/>");
  Report second;
  second.resource = "web02";
  SendIncident(second);
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  Report third;
  third.resource = "web03";
  third.alertStatus = AlertOff;
  SendIncident(third);
  ASSERT_TRUE(follower.Finish()) << "ends at its count: " << follower.Out();

  EXPECT_EQ(follower.Code(), kExitOk);
  const std::vector<std::string> lines = Lines(follower.Out());
  ASSERT_EQ(lines.size(), 3u) << follower.Out();
  EXPECT_NE(lines[0].find("| web01 |"), std::string::npos);
  EXPECT_NE(lines[1].find("| new | web02 |"), std::string::npos);
  EXPECT_NE(lines[2].find("| resolved | web03 |"), std::string::npos);
  EXPECT_EQ(follower.Err(), "koradctl: left 1 message(s) for MvDataCollectionQ on MvRouterQ\n");
  EXPECT_EQ(Queue("MvRouterQ")->Count(), 4);
}

TEST_F(IncidentsTest, AFollowerWaitsForTheQueueTakesWhatComesAndEndsOnStop) {
  IncidentsOptions options;
  options.follow = true;
  options.intervalMs = 10;
  Follower follower(options, m_stop);

  std::this_thread::sleep_for(std::chrono::milliseconds(40));  // no folder yet
  SendIncident(Report{});
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (Queue("MvRouterQ")->Count() > 0 && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  m_stop.store(true);
  ASSERT_TRUE(follower.Finish()) << "ends on the stop flag";

  EXPECT_EQ(follower.Code(), kExitOk);
  EXPECT_EQ(Lines(follower.Out()).size(), 1u) << follower.Out();
  EXPECT_EQ(Queue("MvRouterQ")->Count(), 0) << "taken off the queue";
  EXPECT_EQ(follower.Err(), "");
}

}  // namespace
}  // namespace korad::ctl::testing
