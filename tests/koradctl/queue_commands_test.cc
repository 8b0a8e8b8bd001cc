// koradctl queue: a look leaves messages where they are, a drain takes them, a send puts
// one on; the list finds the queues of the Connectors folder and of MvAgent.ini.
#include "ctl_test_support.h"
#include "platform/profile.h"

namespace korad::ctl::testing {
namespace {

using QueueTest = CtlTest;

TEST_F(QueueTest, ShowLeavesTheMessagesAndDrainTakesThemOldestFirst) {
  const std::string incident = SendIncident(Report{});
  const std::string collection = SendDataCollection("<TrackedObjects>\r\n<Object/>\r\n</TrackedObjects>");

  const RunResult shown = Run({"queue", "show", "MvRouterQ"});
  ASSERT_EQ(shown.code, kExitOk) << shown.err;
  const std::vector<std::string> lines = Lines(shown.out);
  ASSERT_GE(lines.size(), 6u);
  EXPECT_EQ(lines[0].rfind("message 1 | " + incident + " | sent 2024-01-15T12:00:00Z | to mvIncidentQ | ttl 1209600 | "
                           "priority 0 | entity 42 | source - | ",
                           0),
            0u)
      << lines[0];
  const std::string collectionHead = "message 2 | " + collection + " | sent 2024-01-15T12:00:00Z | to MvDataCollectionQ";
  const auto head = std::find_if(lines.begin(), lines.end(),
                                 [&](const std::string& line) { return line.starts_with(collectionHead); });
  ASSERT_NE(head, lines.end()) << shown.out;
  // The body follows its head, indented, its CR LF ends read as line ends.
  ASSERT_EQ(lines.end() - head, 5);
  EXPECT_EQ(head[1], "  ***mvStartDataCollection***<TrackedObjects>");
  EXPECT_EQ(head[2], "  <Object/>");
  EXPECT_EQ(head[3], "  </TrackedObjects>***mvEndDataCollection***");
  EXPECT_EQ(head[4], "2 message(s) on MvRouterQ");
  EXPECT_EQ(Queue("MvRouterQ")->Count(), 2) << "a look takes nothing";

  const RunResult drained = Run({"queue", "drain", "mvrouterq"});  // ids ignore case
  ASSERT_EQ(drained.code, kExitOk) << drained.err;
  EXPECT_EQ(Lines(drained.out).front(), lines.front());
  EXPECT_EQ(Lines(drained.out).back(), "took 2 message(s) from mvrouterq");
  EXPECT_EQ(Queue("MvRouterQ")->Count(), 0);
  EXPECT_EQ(Run({"queue", "show", "MvRouterQ"}).out, "0 message(s) on MvRouterQ\n");
}

TEST_F(QueueTest, DrainDropsExpiredMessagesAndStopsWhenAsked) {
  ConnectorMessage shortLived;
  shortLived.SetBody("soon gone");
  shortLived.SetTimeToLive(60);
  Queue("Work")->Send(shortLived);
  ConnectorMessage lasting;
  lasting.SetBody("bell\a");
  Queue("Work")->Send(lasting);
  m_clock->Advance(60);

  const RunResult shown = Run({"queue", "show", "Work"});
  EXPECT_EQ(Lines(shown.out).back(), "1 message(s) on Work, 1 more expired or unreadable");
  EXPECT_EQ(Lines(shown.out)[1], "  bell\\x07") << "control bytes never reach the terminal raw";

  m_stop.store(true);
  EXPECT_EQ(Lines(Run({"queue", "drain", "Work"}).out).back(), "took 0 message(s) from Work, stopped");
  m_stop.store(false);
  EXPECT_EQ(Lines(Run({"queue", "drain", "Work"}).out).back(), "took 1 message(s) from Work, dropped 1 expired");
  EXPECT_EQ(Queue("Work")->Count(), 0);
}

TEST_F(QueueTest, SendPutsTheFileOnTheQueueWithItsFields) {
  korad::testing::WriteBytes(m_home / "request.xml", "<Request RequestType=\"x\"/>\n");
  const RunResult sent = Run({"queue", "send", "MvAgentInQ", m_home / "request.xml", "--target", "mvActionQ",
                              "--ttl=600", "--priority", "-2", "--entity", "7", "--source", "srv"});
  ASSERT_EQ(sent.code, kExitOk) << sent.err;
  const std::vector<ConnectorMessage> queued = Queue("MvAgentInQ")->Peek(5);
  ASSERT_EQ(queued.size(), 1u);
  EXPECT_EQ(sent.out, "sent " + queued[0].MessageId() + " to MvAgentInQ (" + (m_home / "Connectors/MvAgentInQ") + ")\n");
  EXPECT_EQ(queued[0].Body(), "<Request RequestType=\"x\"/>\n");
  EXPECT_EQ(queued[0].TargetQueue(), "mvActionQ");
  EXPECT_EQ(queued[0].TimeToLive(), 600);
  EXPECT_EQ(queued[0].Priority(), -2);
  EXPECT_EQ(queued[0].EntityId(), 7);
  EXPECT_EQ(queued[0].EventSourceId(), "srv");

  EXPECT_EQ(Run({"queue", "send", "MvAgentInQ", "-"}, "from stdin").code, kExitOk);
  EXPECT_EQ(Queue("MvAgentInQ")->Peek(5).back().Body(), "from stdin");

  const RunResult missingFile = Run({"queue", "send", "MvAgentInQ", m_home / "nothing.xml"});
  EXPECT_EQ(missingFile.code, kExitFailure);
  EXPECT_EQ(Queue("MvAgentInQ")->Count(), 2);
}

TEST_F(QueueTest, ListShowsConnectorFoldersAndConfiguredPathsAndAMissingQueueFails) {
  const std::string serviceFile = m_home / "BIN/MvAgent.ini";
  ASSERT_TRUE(WritePrivateProfileString("Outbox", "Path", "Spool/out", serviceFile));
  ASSERT_TRUE(WritePrivateProfileString("Outbox", "ClassID", "MvConnect.DirectoryConnector", serviceFile));
  ASSERT_TRUE(WritePrivateProfileString("Later", "Path", m_home / "Spool/later", serviceFile));
  // A monitor's own Path is no queue.
  ASSERT_TRUE(WritePrivateProfileString("DiskMon", "Path", "/var", serviceFile));
  ASSERT_TRUE(WritePrivateProfileString("DiskMon", "ClassID", "KORADevServices.MonitorManager", serviceFile));
  SendIncident(Report{});
  SendIncident(Report{});
  Queue("Outbox")->Send(ConnectorMessage());

  const RunResult listed = Run({"queue", "list"});
  ASSERT_EQ(listed.code, kExitOk) << listed.err;
  EXPECT_EQ(Lines(listed.out), (std::vector<std::string>{
                                   "Later | - | " + (m_home / "Spool/later") + " (missing)",
                                   "MvRouterQ | 2 | " + (m_home / "Connectors/MvRouterQ"),
                                   "Outbox | 1 | " + (m_home / "Spool/out"),
                               }));

  const RunResult missing = Run({"queue", "show", "Later"});
  EXPECT_EQ(missing.code, kExitFailure);
  EXPECT_EQ(missing.out, "");
  EXPECT_EQ(missing.err, "koradctl: no queue 'Later': its folder " + (m_home / "Spool/later") + " doesn't exist\n");
  EXPECT_EQ(Run({"queue", "drain", "Later"}).code, kExitFailure);
  EXPECT_FALSE(std::filesystem::exists(m_home / "Spool/later")) << "a failed drain makes no folder";
}

}  // namespace
}  // namespace korad::ctl::testing
