// The directory connector as its users meet it: messages from several threads and
// processes come out in send order, once each, whole, with their bytes intact, and
// expire by the platform clock; and the look-up of a connector by id.
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <latch>
#include <map>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "contracts/class_registry.h"
#include "contracts/error.h"
#include "platform/connector.h"
#include "platform/connector_directory.h"
#include "platform/connector_message.h"
#include "platform/file_system.h"
#include "platform/platform.h"
#include "support/error_number.h"
#include "support/fake_clock.h"
#include "support/fault_injecting_file_system.h"
#include "support/recording_log.h"
#include "support/temp_folder.h"

namespace korad {
namespace {

using testing::NumberOf;
using testing::TempFolder;

ConnectorMessage Message(std::string body, int32_t timeToLive = 0) {
  ConnectorMessage message;
  message.SetBody(std::move(body));
  message.SetTimeToLive(timeToLive);
  return message;
}

std::vector<std::string> ReceiveAllBodies(Connector& connector) {
  std::vector<std::string> bodies;
  while (std::optional<ConnectorMessage> message = connector.Receive()) bodies.push_back(message->Body());
  return bodies;
}

std::vector<std::string> NamesIn(const std::string& folder) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) names.push_back(entry.path().filename());
  std::sort(names.begin(), names.end());
  return names;
}

size_t PositionOf(const std::vector<std::string>& bodies, const std::string& body) {
  return static_cast<size_t>(std::find(bodies.begin(), bodies.end(), body) - bodies.begin());
}

// Every byte value, line ends that look like the end of a header, a header line and a
// NUL: the body must come back exactly.
std::string AwkwardBody() {
  std::string body = "KORAD-Message: 1\nBody-Length: 3\n\n\r\n\r\n";
  for (int i = 0; i < 256; ++i) body.push_back(static_cast<char>(i));
  body.append("\n\n", 2);
  return body;
}

class ConnectorTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Platform::Current().SetFileSystem(nullptr);
    RegisterConnectorClasses(ClassRegistry::Global());  // until the platform's registration does
  }
  void TearDown() override { Platform::Current().SetFileSystem(nullptr); }

  TempFolder m_temp;
  std::string m_queue = m_temp.Path("Queue");
};

TEST_F(ConnectorTest, MessagesFromTwoThreadsAndAForkedProcessComeOutInSendOrderOnce) {
  std::shared_ptr<Connector> connector = MakeDirectoryConnector(m_queue);
  connector->Send(Message("P1"));

  std::latch start(2);
  auto sender = [&](const std::string& name) {
    start.arrive_and_wait();
    for (int i = 1; i <= 3; ++i) connector->Send(Message(name + std::to_string(i)));
  };
  std::thread a(sender, "A"), b(sender, "B");
  a.join();
  b.join();

  // Another process with its own connector object on the same folder.
  pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    try {
      MakeDirectoryConnector(m_queue)->Send(Message("C1"));
      ::_exit(0);
    } catch (...) {
      ::_exit(1);
    }
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  connector->Send(Message("P2"));

  EXPECT_EQ(connector->Count(), 9);
  EXPECT_EQ(NumberOf([&] { connector->Receive(); }), kLibraryError) << "reading needs an open connector";
  connector->Open();
  std::optional<ConnectorMessage> first = connector->Receive();
  ASSERT_TRUE(first.has_value());
  connector->Send(Message("P3"));  // after the reader has looked at the queue
  std::vector<std::string> bodies = ReceiveAllBodies(*connector);
  bodies.insert(bodies.begin(), first->Body());
  ASSERT_EQ(bodies.size(), 10u);
  EXPECT_EQ(std::set<std::string>(bodies.begin(), bodies.end()).size(), 10u);
  EXPECT_EQ(bodies.front(), "P1");
  EXPECT_EQ(bodies[7], "C1");
  EXPECT_EQ(bodies[8], "P2");
  EXPECT_EQ(bodies.back(), "P3");
  for (const std::string name : {"A", "B"}) {
    EXPECT_LT(PositionOf(bodies, name + "1"), PositionOf(bodies, name + "2"));
    EXPECT_LT(PositionOf(bodies, name + "2"), PositionOf(bodies, name + "3"));
  }
  EXPECT_FALSE(connector->Receive().has_value());
  EXPECT_EQ(connector->Count(), 0);
  EXPECT_TRUE(NamesIn(m_queue).empty()) << "no claim or temporary file is left behind";
}

TEST_F(ConnectorTest, EveryFieldAndArbitraryBodyBytesSurviveTheQueue) {
  ConnectorMessage sent = Message(AwkwardBody(), 1209600);
  sent.SetPriority(-2);
  sent.SetEntityId(4711);
  sent.SetTargetQueue("mvIncidentQ\nBody-Length: 0%");
  sent.SetEventSourceId("00000000-0000-0000-0000-000000000001");

  std::shared_ptr<Connector> connector = MakeDirectoryConnector(m_queue);  // folder made by the send
  testing::ScopedPlatformClock clock;
  const std::string id = connector->Send(sent);
  EXPECT_EQ(sent.MessageId(), "") << "the caller's message is not changed";

  std::vector<ConnectorMessage> peeked = connector->Peek(5);
  ASSERT_EQ(peeked.size(), 1u);
  EXPECT_EQ(peeked[0].Body(), sent.Body());
  EXPECT_EQ(connector->Count(), 1) << "a look leaves the message queued";

  connector->Open();
  std::optional<ConnectorMessage> got = connector->Receive();
  ASSERT_TRUE(got.has_value());
  EXPECT_EQ(got->Body(), sent.Body());
  EXPECT_EQ(got->TimeToLive(), 1209600);
  EXPECT_EQ(got->Priority(), -2);
  EXPECT_EQ(got->EntityId(), 4711);
  EXPECT_EQ(got->TargetQueue(), sent.TargetQueue());
  EXPECT_EQ(got->EventSourceId(), sent.EventSourceId());
  EXPECT_EQ(got->SentUtc().ToUnixMillis(), clock->UtcNow().ToUnixMillis());
  EXPECT_EQ(got->MessageId(), id);

  // The same fields through late binding, as a module that made the message by class id.
  ObjectRef object = CreateObject("mvconnect.connectormessage");
  object->LetProperty("Body", Value(std::string("x\0y", 3)));
  object->LetProperty("TimeToLive", Value(int32_t{600}));
  object->LetProperty("EntityID", Value(int32_t{9}));
  object->LetProperty("TargetQueue", Value("mvHBQ"));
  auto& late = dynamic_cast<ConnectorMessage&>(*object);
  ConnectorMessage back = ConnectorMessage::FromFileText(late.ToFileText());
  EXPECT_EQ(back.Body(), std::string("x\0y", 3));
  EXPECT_EQ(back.TimeToLive(), 600);
  EXPECT_EQ(back.EntityId(), 9);
  EXPECT_EQ(back.TargetQueue(), "mvHBQ");
  EXPECT_EQ(object->GetProperty("EntityID").ToLong(), 9);
}

TEST_F(ConnectorTest, MessagesPastTheirTimeToLiveAreDroppedAndCountedByThePlatformClock) {
  testing::ScopedPlatformClock clock;
  clock->AdvanceMillis(37);  // a reading whose day fraction does not come out even
  std::shared_ptr<Connector> connector = MakeDirectoryConnector(m_queue);
  connector->Open();
  connector->Send(Message("one minute", 60));
  connector->Send(Message("forever", 0));
  connector->Send(Message("one hour", 3600));

  clock->Advance(59.9);
  EXPECT_EQ(connector->Peek(10).size(), 3u);
  clock->Advance(0.1);  // exactly the time to live: gone
  std::vector<ConnectorMessage> live = connector->Peek(10);
  ASSERT_EQ(live.size(), 2u);
  EXPECT_EQ(live[0].Body(), "forever");
  EXPECT_EQ(connector->Count(), 3) << "a look drops nothing";

  std::optional<ConnectorMessage> first = connector->Receive();
  ASSERT_TRUE(first.has_value());
  EXPECT_EQ(first->Body(), "forever");
  EXPECT_EQ(connector->ExpiredCount(), 1);

  clock->Advance(3600);
  EXPECT_FALSE(connector->Receive().has_value());
  EXPECT_EQ(connector->ExpiredCount(), 2);
  EXPECT_EQ(connector->Count(), 0);
}

TEST_F(ConnectorTest, AReaderTakesMessagesByIdAndLeavesTheOthersQueuedInOrder) {
  testing::ScopedPlatformClock clock;
  std::shared_ptr<Connector> connector = MakeDirectoryConnector(m_queue);
  connector->Send(Message("keep 1"));
  const std::string take = connector->Send(Message("take"));
  connector->Send(Message("keep 2"));
  const std::string expiring = connector->Send(Message("expiring", 60));

  EXPECT_THROW(connector->ReceiveById(take), Error) << "a closed connector is not read";
  connector->Open();
  std::optional<ConnectorMessage> got = connector->ReceiveById(take);
  ASSERT_TRUE(got.has_value());
  EXPECT_EQ(got->Body(), "take");
  EXPECT_EQ(got->MessageId(), take);
  EXPECT_FALSE(connector->ReceiveById(take).has_value()) << "taken once only";
  EXPECT_FALSE(connector->ReceiveById("../Queue/" + take).has_value());
  EXPECT_FALSE(connector->ReceiveById("").has_value());

  clock->Advance(60);
  EXPECT_FALSE(connector->ReceiveById(expiring).has_value());
  EXPECT_EQ(connector->ExpiredCount(), 1);
  EXPECT_EQ(ReceiveAllBodies(*connector), (std::vector<std::string>{"keep 1", "keep 2"}));
}

TEST_F(ConnectorTest, TwoReadersNeverGetTheSameMessage) {
  std::shared_ptr<Connector> sender = MakeDirectoryConnector(m_queue);
  constexpr int kMessages = 12;
  for (int i = 0; i < kMessages; ++i) sender->Send(Message("m" + std::to_string(i)));

  // Two connector objects, as two processes would have.
  std::vector<std::shared_ptr<Connector>> readers = {MakeDirectoryConnector(m_queue), MakeDirectoryConnector(m_queue)};
  std::vector<std::vector<std::string>> got(2);
  std::latch start(2);
  std::vector<std::thread> threads;
  for (int r = 0; r < 2; ++r) {
    threads.emplace_back([&, r] {
      readers[r]->Open();
      start.arrive_and_wait();
      got[r] = ReceiveAllBodies(*readers[r]);
    });
  }
  for (std::thread& t : threads) t.join();

  std::multiset<std::string> all(got[0].begin(), got[0].end());
  all.insert(got[1].begin(), got[1].end());
  EXPECT_EQ(all.size(), static_cast<size_t>(kMessages));
  for (int i = 0; i < kMessages; ++i) EXPECT_EQ(all.count("m" + std::to_string(i)), 1u) << i;
}

TEST_F(ConnectorTest, CrashLeftoversAreNeitherReadNorLost) {
  std::shared_ptr<Connector> connector = MakeDirectoryConnector(m_queue);
  connector->Send(Message("taken by a reader that died"));
  connector->Send(Message("taken by a reader still at work"));
  connector->Send(Message("good"));
  std::vector<std::string> names = NamesIn(m_queue);
  ASSERT_EQ(names.size(), 3u);

  // A reader process that claimed the first message and died before removing it.
  pid_t dead = ::fork();
  ASSERT_GE(dead, 0);
  if (dead == 0) ::_exit(0);
  ASSERT_EQ(::waitpid(dead, nullptr, 0), dead);
  std::filesystem::rename(m_temp.Path("Queue/" + names[0]),
                          m_temp.Path("Queue/" + names[0] + "." + std::to_string(dead) + ".claim"));
  // A live reader (this process) holds the second one.
  std::filesystem::rename(m_temp.Path("Queue/" + names[1]),
                          m_temp.Path("Queue/" + names[1] + "." + std::to_string(::getpid()) + ".claim"));
  // A sender that died between writing its temporary file and renaming it.
  const std::string strayTemp = "." + names[2] + ".999999.0.tmp";
  testing::WriteBytes(m_temp.Path("Queue/" + strayTemp), std::string("KORAD-Message: 1\nBody-Len"));
  // A file cut short by hand, in a message's name, older than the rest.
  testing::WriteBytes(m_temp.Path("Queue/00000000000000001-0000000001.msg"),
                      Message("cut").ToFileText().substr(0, 40));

  EXPECT_EQ(connector->Count(), 2) << "the good message and the cut one";
  connector->Open();  // gives the dead reader's claim back
  EXPECT_EQ(ReceiveAllBodies(*connector), (std::vector<std::string>{"taken by a reader that died", "good"}));
  EXPECT_EQ(connector->RejectedCount(), 1);
  std::vector<std::string> left = NamesIn(m_queue);
  EXPECT_EQ(left, (std::vector<std::string>{strayTemp, "00000000000000001-0000000001.msg.bad",
                                            names[1] + "." + std::to_string(::getpid()) + ".claim"}));
}

TEST_F(ConnectorTest, AFailedSendQueuesNothing) {
  auto faults = std::make_shared<FaultInjectingFileSystem>(MakeLinuxFileSystem());
  Platform::Current().SetFileSystem(faults);
  std::shared_ptr<Connector> connector = MakeDirectoryConnector(m_queue);
  connector->Open();
  faults->FailNextWrites(1);
  EXPECT_EQ(NumberOf([&] { connector->Send(Message("lost")); }), kErrDiskFull);
  faults->FailNextRenames(1);
  EXPECT_EQ(NumberOf([&] { connector->Send(Message("lost too")); }), 70);
  EXPECT_EQ(connector->Count(), 0);
  connector->Send(Message("kept"));
  EXPECT_EQ(ReceiveAllBodies(*connector), std::vector<std::string>{"kept"});
}

class ConnectorDirectoryTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Platform::Current().SetApplication(std::make_shared<testing::FakeApplication>(m_home.Path()));
    RegisterConnectorClasses(ClassRegistry::Global());
  }
  void TearDown() override { Platform::Current().SetApplication(nullptr); }

  testing::TempHome m_home;
};

TEST_F(ConnectorDirectoryTest, TheIniPathWinsAndEachIdFallsBackToItsOwnFolderUnderConnectors) {
  testing::WriteWholeFile(m_home / "BIN/MvAgent.ini",
                          "[mvFailedQ]\nClassID=MvConnect.DirectoryConnector\nPath=" + m_home.Path() +
                              "\\Connectors\\Failed\\\n[RelQ]\nPath=Queues\\Rel\n");
  EXPECT_EQ(ConnectorDirectory::FolderFor("MVFAILEDQ"), m_home / "Connectors/Failed");
  EXPECT_EQ(ConnectorDirectory::FolderFor("RelQ"), m_home / "Queues/Rel");
  EXPECT_EQ(ConnectorDirectory::FolderFor("mvIncidentQ"), m_home / "Connectors/mvIncidentQ");

  auto directory = CreateObjectAs<ConnectorDirectory>("mvSystem.Configurations");
  std::shared_ptr<Connector> failed = directory->GetConnector("mvFailedQ");
  failed->Send(Message("to the failed queue"));
  EXPECT_EQ(NamesIn(m_home / "Connectors/Failed").size(), 1u);

  // Another module's object, another spelling of the id: the same connector.
  std::shared_ptr<Connector> router = directory->GetConnector("MvRouterQ");
  EXPECT_EQ(CreateObjectAs<ConnectorDirectory>("mvSystem.Configurations")->GetConnector("mvRouterQ"), router);
  EXPECT_NE(router, failed);
  router->Send(Message("to the router"));
  EXPECT_EQ(NamesIn(m_home / "Connectors/MvRouterQ").size(), 1u);

  // The host's way: a connector made by class id, its folder set from "Path".
  ObjectRef made = CreateObject("MvConnect.DirectoryConnector");
  made->LetProperty("Path", Value(m_home.Path() + "\\Connectors\\MvRouterQ"));
  made->CallMethod("Open");
  EXPECT_EQ(NumberOf([&] { made->LetProperty("Path", Value("/elsewhere")); }), kErrInvalidCall);
  auto asConnector = std::dynamic_pointer_cast<Connector>(made);
  ASSERT_TRUE(asConnector);
  EXPECT_EQ(ReceiveAllBodies(*asConnector), std::vector<std::string>{"to the router"});
  EXPECT_EQ(NumberOf([] { ConnectorDirectory::FolderFor("  "); }), kErrInvalidCall);
}

}  // namespace
}  // namespace korad
