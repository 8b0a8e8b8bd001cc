#include "incident/xml_serializer.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "incident/incident_state.h"
#include "incident/serializer_fixture.h"
#include "platform/file_system.h"
#include "support/fault_injecting_file_system.h"

namespace korad {
namespace {

using testing::LogLine;

class XMLSerializerTest : public testing::SerializerTest {
 protected:
  // A state as a monitor leaves it: dates with their twins, text with line ends and
  // "=", the product's own keys, under the configurations CPU1, Disk and Old.
  std::shared_ptr<IncidentState> MonitorState() {
    auto state = std::make_shared<IncidentState>();
    state->SetConfigMoniker("CPU1");
    state->Add("LastSeen", Value(At(10)));
    state->Add("Text", Value("line one\r\nline two\r\nline three"));
    state->Add("Formula", Value("a=b=c"));
    state->Add("mvCount", Value(int32_t{3}));
    state->Add("Flag", Value(true));
    state->Add("Unix", Value("first\nsecond"));
    state->SetConfigMoniker("Disk");
    state->Add("Free", Value("12"));
    state->SetConfigMoniker("MVGLOBAL");
    state->Add("LastRun", Value(At(7)));
    state->SetConfigMoniker("Retired");
    state->Add("Kept", Value("in memory"));
    state->SetConfigMoniker("Old");
    state->Add("Gone", Value("x"));
    state->Add("GoneAt", Value(At(9)));
    return state;
  }

  std::shared_ptr<IncidentState> LoadFresh(const std::string& monitorId) {
    std::shared_ptr<IncidentState> state = std::make_shared<IncidentState>();
    state->SetLogManager(m_log);
    m_serializer->Load(state, monitorId);
    return state;
  }

  std::vector<LogLine> Errors() const {
    std::vector<LogLine> errors;
    for (const LogLine& line : m_log->Lines()) {
      if (line.level <= logLevelError) errors.push_back(line);
    }
    return errors;
  }

  void SetUp() override {
    SerializerTest::SetUp();
    m_serializer = std::make_unique<XMLSerializer>();  // its default location needs the home
  }

  std::unique_ptr<XMLSerializer> m_serializer;
};

TEST_F(XMLSerializerTest, AStateSurvivesSaveAndLoadLessItsRemovedConfigurations) {
  std::shared_ptr<IncidentState> state = MonitorState();
  state->SetLogManager(m_log);
  m_serializer->SetCurrentConfigs(std::vector<std::string>{"CPU1", "Disk"});
  m_serializer->Save(state, "My Monitor");

  EXPECT_EQ(ReadAll(SerializePath("MyMonitor.SER")),
            "CPU1-LASTSEENUTC=2024-03-05T08:30:00Z\r\n"
            "CPU1-TEXT=line one**morvaneCrLf**line two**morvaneCrLf**line three\r\n"
            "CPU1-FORMULA=a=b=c\r\n"
            "CPU1-MVCOUNT=3\r\n"
            "CPU1-FLAG=True\r\n"
            "CPU1-UNIX=first\nsecond\r\n"
            "DISK-FREE=12\r\n"
            "MVGLOBAL-LASTRUN=2024-03-05T07:30:00Z\r\n");
  // The current moniker's items of a removed configuration leave memory; another
  // moniker's stay there (they fail the ownership test) but not in the file.
  EXPECT_EQ(state->Dictionary().Keys(),
            (std::vector<std::string>{"CPU1-LASTSEENUTC", "CPU1-LASTSEEN", "CPU1-TEXT", "CPU1-FORMULA",
                                      "CPU1-MVCOUNT", "CPU1-FLAG", "CPU1-UNIX", "DISK-FREE", "MVGLOBAL-LASTRUN",
                                      "RETIRED-KEPT"}));
  EXPECT_TRUE(Errors().empty());

  std::shared_ptr<IncidentState> loaded = LoadFresh("MyMonitor");
  EXPECT_EQ(loaded->Dictionary().Keys(),
            (std::vector<std::string>{"CPU1-LASTSEENUTC", "CPU1-LASTSEEN", "CPU1-TEXT", "CPU1-FORMULA",
                                      "CPU1-MVCOUNT", "CPU1-FLAG", "CPU1-UNIX", "DISK-FREE", "MVGLOBAL-LASTRUN"}));
  loaded->SetConfigMoniker("CPU1");
  // The universal date comes back as text, its local twin as a date in local time.
  EXPECT_EQ(loaded->Item("LastSeenUTC"), Value("2024-03-05 08:30:00"));
  EXPECT_TRUE(testing::IsDateAt(loaded->Item("LastSeen"), At(10)));
  EXPECT_EQ(loaded->Item("Text"), Value("line one\r\nline two\r\nline three"));
  EXPECT_EQ(loaded->Item("Formula"), Value("a=b=c"));
  EXPECT_EQ(loaded->Item("mvCount"), Value("3"));
  EXPECT_EQ(loaded->Item("Unix"), Value("first\nsecond"));
  EXPECT_EQ(loaded->Count(), 7);
  loaded->SetConfigMoniker("MVGLOBAL");
  EXPECT_EQ(loaded->Item("LastRun"), Value("2024-03-05 07:30:00"));
  EXPECT_EQ(*loaded->AllConfigMonikers().Find("DISK-FREE"), Value("DISK"));

  // What was loaded saves to the same bytes.
  const std::string first = ReadAll(SerializePath("MyMonitor.SER"));
  m_serializer->Save(loaded, "MyMonitor");
  EXPECT_EQ(ReadAll(SerializePath("MyMonitor.SER")), first);
  EXPECT_TRUE(Errors().empty());
}

TEST_F(XMLSerializerTest, ASaveWithoutConfigurationsNeitherWritesNorTrims) {
  std::shared_ptr<IncidentState> state = MonitorState();
  const size_t before = state->Dictionary().Count();
  m_serializer->Save(state, "Mon");
  EXPECT_FALSE(std::filesystem::exists(SerializePath("Mon.SER")));
  EXPECT_EQ(state->Dictionary().Count(), before);

  // A comma list, as the update scheduler builds it, is a list of configurations; the
  // test is a substring test, so "ISK-" passes on "DISK-CPU9-".
  m_serializer->SetCurrentConfigs(Value("Disk,CPU9"));
  state->SetConfigMoniker("Isk");
  state->Add("Odd", Value("1"));
  m_serializer->Save(state, "Mon");
  EXPECT_EQ(ReadAll(SerializePath("Mon.SER")),
            "DISK-FREE=12\r\nMVGLOBAL-LASTRUN=2024-03-05T07:30:00Z\r\nISK-ODD=1\r\n");
}

TEST_F(XMLSerializerTest, OlderFilesAndOddLinesLoadAsTheAgentAlwaysReadThem) {
  testing::WriteWholeFile(SerializePath("Mon.SER"),
                          "[Serialize]\r\n"
                          "CPU1-SEEN=2024-03-05T10:30:00Z\r\n"   // a local date of an older version
                          "CPU1-NOTE=2024-13-45T99:00:00Z\r\n"   // not a date: stays text
                          "CPU1-BARE\r\n"                        // a key with an empty value
                          "[serialize]\r\n"                      // not a header: no "-", dropped
                          "NODASH=1\r\n"
                          "CPU1-MVSTAMP=2024-03-05T06:00:00Z\r\n"
                          "\r\n");
  std::shared_ptr<IncidentState> state = LoadFresh("Mon");
  EXPECT_EQ(state->Dictionary().Keys(),
            (std::vector<std::string>{"CPU1-SEEN", "CPU1-SEENUTC", "CPU1-NOTE", "CPU1-BARE", "CPU1-MVSTAMP"}));
  state->SetConfigMoniker("CPU1");
  EXPECT_EQ(state->Item("Seen"), Value("2024-03-05 10:30:00"));
  EXPECT_TRUE(testing::IsDateAt(state->Item("SeenUTC"), At(8)));
  EXPECT_EQ(state->Item("Note"), Value("2024-13-45T99:00:00Z"));
  EXPECT_EQ(state->Item("Bare"), Value(""));
  EXPECT_EQ(state->Item("mvStamp"), Value("2024-03-05 06:00:00"));

  EXPECT_EQ(m_log->Matching("Checking for date on value = 2024-03-05T10:30:00Z", "Mon").size(), 1u);
  EXPECT_EQ(m_log->Matching("Local date. Adding UTC variant - CPU1-SEENUTC").size(), 1u);
  EXPECT_EQ(m_log->Matching("Split date = True").size(), 1u);
  EXPECT_EQ(m_log->Matching("Split date = False").size(), 3u);
  // The two lines without a moniker are traced once; the empty line isn't counted.
  EXPECT_TRUE(Errors().empty());
  const std::vector<LogLine> dropped = m_log->Matching("dropped 2 line(s)", "Serializer");
  ASSERT_EQ(dropped.size(), 1u);
  EXPECT_EQ(dropped[0].level, logLevelDebug);
  EXPECT_NE(dropped[0].text.find("(first at line 5)"), std::string::npos) << dropped[0].text;
}

TEST_F(XMLSerializerTest, AMissingFileIsAFirstRunAndLoadReplacesOnlyTheCurrentMoniker) {
  std::shared_ptr<IncidentState> none;
  m_serializer->Load(none, "Nothing");
  ASSERT_NE(none, nullptr);
  EXPECT_EQ(none->Dictionary().Count(), 0u);

  auto state = std::make_shared<IncidentState>();
  state->SetLogManager(m_log);
  state->SetConfigMoniker("CPU1");
  state->Add("Old", Value("1"));
  state->SetConfigMoniker("Disk");
  state->Add("Old", Value("2"));
  m_serializer->Load(state, "Nothing");
  EXPECT_EQ(state->Dictionary().Keys(), std::vector<std::string>{"CPU1-OLD"});
  EXPECT_TRUE(Errors().empty());

  // A key put into the dictionary without an ownership record gets one when a load
  // replaces its value.
  state->Dictionary().Add("NET-UP", Value("0"));
  testing::WriteWholeFile(SerializePath("Net.SER"), "CPU1-OLD=3\r\nNET-UP=1\r\n");
  m_serializer->Load(state, "Net");
  const Value* owner = state->AllConfigMonikers().Find("NET-UP");
  ASSERT_NE(owner, nullptr);
  EXPECT_EQ(*owner, Value("NET"));
  EXPECT_EQ(*state->Dictionary().Find("CPU1-OLD"), Value("3"));
}

TEST_F(XMLSerializerTest, AFileThatCannotBeReadIsReportedTwice) {
  std::filesystem::create_directories(SerializePath("Mon.SER"));  // a folder where the file should be
  std::shared_ptr<IncidentState> state = LoadFresh("Mon");
  EXPECT_EQ(state->Dictionary().Count(), 0u);
  ASSERT_EQ(Errors().size(), 2u);
  EXPECT_EQ(Errors()[0].text.rfind("Serializer(Load) - Failed load " + m_serializer->FilePath("Mon") + " (Error = ", 0),
            0u)
      << Errors()[0].text;
  EXPECT_EQ(Errors()[1].text.rfind("Serializer(Load) - Mon: ", 0), 0u) << Errors()[1].text;
  EXPECT_EQ(Errors()[1].category, "Serializer");
}

TEST_F(XMLSerializerTest, AFullDiskOrAFailedRenameLeavesThePreviousFileWhole) {
  std::shared_ptr<IncidentState> state = MonitorState();
  state->SetLogManager(m_log);
  m_serializer->SetCurrentConfigs(std::vector<std::string>{"CPU1", "Disk"});
  m_serializer->Save(state, "Mon");
  const std::string before = ReadAll(SerializePath("Mon.SER"));
  ASSERT_FALSE(before.empty());

  auto faulty = std::make_shared<FaultInjectingFileSystem>(MakeLinuxFileSystem());
  Platform::Current().SetFileSystem(faulty);
  state->SetConfigMoniker("CPU1");
  state->Add("New", Value("not on disk yet"));
  faulty->FailNextWrites(1);
  m_serializer->Save(state, "Mon");
  faulty->FailNextRenames(1);
  m_serializer->Save(state, "Mon");
  EXPECT_EQ(faulty->FaultsRaised(), 2);
  EXPECT_EQ(ReadAll(SerializePath("Mon.SER")), before);
  ASSERT_EQ(Errors().size(), 2u);
  EXPECT_EQ(Errors()[0].text.rfind("Serializer(Save) - Mon: Disk full", 0), 0u) << Errors()[0].text;
  EXPECT_EQ(Errors()[1].category, "Serializer");
  // No temporary file is left beside it.
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(m_home / "Serialize"),
                          std::filesystem::directory_iterator()),
            1);

  // The next save goes through.
  m_serializer->Save(state, "Mon");
  EXPECT_NE(ReadAll(SerializePath("Mon.SER")).find("CPU1-NEW=not on disk yet\r\n"), std::string::npos);
}

TEST_F(XMLSerializerTest, ACutOrGarbledFileLoadsWhatItCanAndNeverThrows) {
  std::shared_ptr<IncidentState> state = MonitorState();
  m_serializer->SetCurrentConfigs(std::vector<std::string>{"CPU1", "Disk"});
  m_serializer->Save(state, "Mon");
  const std::string whole = ReadAll(SerializePath("Mon.SER"));
  std::shared_ptr<IncidentState> complete = LoadFresh("Mon");

  // Cut inside a key, inside a value, inside an escaped line end, inside a date, between
  // CR and LF, and at a line end.
  const size_t nextLine = whole.find("\r\nDISK-FREE");
  const std::vector<size_t> cuts = {whole.find("LASTSEENUTC=") + 3, whole.find("=line one") + 3,
                                    whole.find("morvaneCrLf**line three") + 3, whole.find("07:30:00Z") + 3,
                                    nextLine + 1, nextLine + 2};
  for (size_t cut : cuts) {
    SCOPED_TRACE("cut at " + std::to_string(cut));
    testing::WriteWholeFile(SerializePath("Mon.SER"), whole.substr(0, cut));
    m_log->Clear();
    std::shared_ptr<IncidentState> partial;
    ASSERT_NO_THROW(partial = LoadFresh("Mon"));
    // Every whole line before the cut came back as it was.
    const size_t lastLineEnd = whole.rfind("\r\n", cut - 2);
    const size_t wholeLines = lastLineEnd == std::string::npos || lastLineEnd + 2 > cut ? 0 : lastLineEnd + 2;
    for (const std::string& key : complete->Dictionary().Keys()) {
      const size_t at = whole.find(key + "=");
      if (at == std::string::npos || at >= wholeLines) continue;
      ASSERT_NE(partial->Dictionary().Find(key), nullptr) << key;
      EXPECT_EQ(*partial->Dictionary().Find(key), *complete->Dictionary().Find(key)) << key;
    }
    // A cut that isn't at a line end is reported.
    const bool atLineEnd = whole[cut - 1] == '\r' || whole.compare(cut - 2, 2, "\r\n") == 0;
    EXPECT_EQ(!m_log->Matching("may have been cut short", "Serializer").empty(), !atLineEnd);
  }

  std::mt19937 random(20240305);
  const std::string alphabet = "AZ-=\r\n*\x01\xff 9TUC";
  for (int round = 0; round < 20; ++round) {
    std::string garbage(512, '\0');
    for (char& c : garbage) c = alphabet[random() % alphabet.size()];
    testing::WriteWholeFile(SerializePath("Mon.SER"), garbage);
    std::shared_ptr<IncidentState> loaded;
    ASSERT_NO_THROW(loaded = LoadFresh("Mon"));
    // Whatever was taken has an ownership record, so the state stays usable.
    EXPECT_EQ(loaded->Dictionary().Count(), loaded->AllConfigMonikers().Count());
    ASSERT_NO_THROW(loaded->RemoveAll());
  }
}

TEST_F(XMLSerializerTest, TheLocationFollowsItsLetRule) {
  EXPECT_EQ(m_serializer->SerializeLocation(), m_home.Path() + "/Serialize");
  m_serializer->SetSerializeLocation(m_home / "States/");
  EXPECT_EQ(m_serializer->SerializeLocation(), m_home / "States");
  EXPECT_EQ(m_serializer->FilePath("Disk Monitor"), m_home / "States/DiskMonitor.SER");
  m_serializer->SetSerializeLocation("  ");
  EXPECT_EQ(m_serializer->SerializeLocation(), m_home.Path() + "/Serialize");
}

}  // namespace
}  // namespace korad
