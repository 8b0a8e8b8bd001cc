#include "incident/inc_form_serialize.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "incident/incident_forms.h"
#include "incident/serializer_fixture.h"
#include "platform/file_system.h"
#include "support/fault_injecting_file_system.h"

namespace korad {
namespace {

using testing::LogLine;

class IncFormSerializeTest : public testing::SerializerTest {
 protected:
  void SetUp() override {
    SerializerTest::SetUp();
    m_serializer = std::make_unique<IncFormSerialize>();  // its default location needs the home
    m_forms->SetLogManager(m_log);
  }

  // Two forms of two configurations, with everything the file keeps set away from a
  // new form's values.
  void AddForms() {
    m_forms->SetConfigMoniker("CPU1");
    IncidentFormRef high = m_forms->Add("Server 1", "High CPU", {Value("Detail:=line one\r\nline two"),
                                                                 Value("Owner:=ops=night")});
    ASSERT_NE(high, nullptr);
    high->SetAlertStatus(AlertOn);
    high->SetPriority(3);
    high->SetMVSendAlertPolls(4);
    high->SetMVResolveAlertPolls(1);
    high->SetPropertiesCRC(-123456789);
    high->SetProcessedByMM(true);
    high->SetKeyAttributes("Owner");

    m_clock->Advance(90);
    m_forms->SetConfigMoniker("Disk");
    IncidentFormRef full = m_forms->Add("C:", "DiskFull");
    ASSERT_NE(full, nullptr);
    full->SetAlertStatus(AlertOffPending);
    full->SetMVResolveAlertPolls(5);
  }

  std::vector<LogLine> Errors() const {
    std::vector<LogLine> errors;
    for (const LogLine& line : m_log->Lines()) {
      if (line.level <= logLevelError) errors.push_back(line);
    }
    return errors;
  }

  std::shared_ptr<IncidentForms> LoadInto(std::shared_ptr<IncidentForms> forms) {
    forms->SetLogManager(m_log);
    m_serializer->Load(forms, "Mon");
    return forms;
  }

  std::unique_ptr<IncFormSerialize> m_serializer;
  std::shared_ptr<IncidentForms> m_forms = std::make_shared<IncidentForms>();
};

TEST_F(IncFormSerializeTest, FormsSurviveSaveAndLoadWithTheirCounters) {
  AddForms();
  m_serializer->Save(m_forms, "Mon");
  const std::string text = ReadAll(SerializePath("IFMon.SER"));
  EXPECT_EQ(text.substr(0, text.find("[/IncidentForm]")),
            "[IncidentForm]\r\n"
            "Resource=Server1\r\n"
            "Condition=HighCPU\r\n"
            "KeyAttributes=Owner\r\n"
            "OccurrenceTime=2024-01-15 14:00:00\r\n"  // local: two hours east of UTC
            "ConfigMoniker=CPU1\r\n"
            "AlertStatus=1\r\n"
            "Priority=3\r\n"
            "mvSendAlertPolls=4\r\n"
            "mvResolveAlertPolls=1\r\n"
            "mvPropertiesCRC=-123456789\r\n"
            "ProcessedByMM=True\r\n"
            "Detail=line one**morvaneCrLf**line two\r\n"
            "Owner=ops=night\r\n");

  std::shared_ptr<IncidentForms> loaded = LoadInto(std::make_shared<IncidentForms>());
  ASSERT_EQ(loaded->AllForms().size(), 2u);
  const IncidentFormRef& high = loaded->AllForms()[0];
  EXPECT_EQ(high->Resource(), "Server1");
  EXPECT_EQ(high->Condition(), "HighCPU");
  EXPECT_EQ(high->ConfigMoniker(), "CPU1");
  EXPECT_EQ(high->KeyAttributes(), "Owner");
  EXPECT_EQ(high->AlertStatus(), AlertOn);
  EXPECT_EQ(high->Priority(), 3);
  EXPECT_EQ(high->MVSendAlertPolls(), 4);
  EXPECT_EQ(high->MVResolveAlertPolls(), 1);
  EXPECT_EQ(high->PropertiesCRC(), -123456789);
  EXPECT_TRUE(high->ProcessedByMM());
  EXPECT_EQ(high->OccurrenceTimeUTC().ToUnixMillis(), testing::FakeClock::DefaultStart().ToUnixMillis());
  EXPECT_EQ(high->GetAttributes()->Item(Value("Detail"))->Value(), Value("line one\r\nline two"));
  EXPECT_EQ(high->GetAttributes()->Item(Value("Owner"))->Value(), Value("ops=night"));
  EXPECT_FALSE(high->UpdateOccurred());

  const IncidentFormRef& full = loaded->AllForms()[1];
  EXPECT_EQ(full->ConfigMoniker(), "Disk");
  EXPECT_EQ(full->AlertStatus(), AlertOffPending);
  EXPECT_EQ(full->MVSendAlertPolls(), IncidentForm::kPollsUnset);
  EXPECT_EQ(full->MVResolveAlertPolls(), 5);
  EXPECT_FALSE(full->ProcessedByMM());
  EXPECT_EQ(full->GetAttributes()->Count(), 0);
  EXPECT_EQ(loaded->ConfigMoniker(), "Disk");  // the last block's

  // What was loaded saves to the same bytes.
  m_serializer->Save(loaded, "Mon");
  EXPECT_EQ(ReadAll(SerializePath("IFMon.SER")), text);
  EXPECT_TRUE(Errors().empty());

  // No forms: the file is emptied, not left behind.
  m_serializer->Save(std::make_shared<IncidentForms>(), "Mon");
  EXPECT_TRUE(std::filesystem::exists(SerializePath("IFMon.SER")));
  EXPECT_EQ(ReadAll(SerializePath("IFMon.SER")), "");
}

TEST_F(IncFormSerializeTest, ACollectionThatShowsFormsIsReplacedAndAnEmptyOneIsKept) {
  std::shared_ptr<IncidentForms> empty = m_forms;
  m_serializer->Load(empty, "Nothing");
  EXPECT_EQ(empty, m_forms);  // a missing file, an empty collection: left as it was
  empty.reset();

  AddForms();
  m_serializer->Save(m_forms, "Mon");
  std::weak_ptr<IncidentForms> old = m_forms;
  std::shared_ptr<IncidentForms> passed = std::move(m_forms);
  m_serializer->Load(passed, "Mon");
  EXPECT_TRUE(old.expired());  // the caller's object was let go
  EXPECT_EQ(passed->AllForms().size(), 2u);
  EXPECT_EQ(passed->GetLogManager(), nullptr);
  m_forms = passed;
}

TEST_F(IncFormSerializeTest, BlocksAreReadAsTheAgentAlwaysReadThem) {
  testing::WriteWholeFile(SerializePath("IFMon.SER"),
                          "stray line outside a block\r\n"
                          "[incidentform]\r\n"  // any case starts a block
                          "Resource=Web\r\nCondition=Down\r\nConfigMoniker=HTTP\r\n"
                          "mvSendAlertPolls=7.5 polls\r\nmvResolveAlertPolls=3\r\nmvPropertiesCRC=42\r\n"
                          "AlertStatus=AlertOff\r\nPriority=2\r\nNote\r\n"
                          "[/INCIDENTFORM]\r\n"
                          "[IncidentForm]\r\n"  // no Resource: dropped without a word
                          "Resource=\r\nCondition=Gone\r\nConfigMoniker=HTTP\r\n"
                          "[/IncidentForm]\r\n"
                          "[IncidentForm]\r\n"  // no counters: those of the block before
                          "Resource=Mail\r\nCondition=Slow\r\nConfigMoniker=SMTP\r\nOccurrenceTime=2024-01-15 09:30:00\r\n"
                          "Priority=abc\r\n"
                          "[/IncidentForm]\r\n"
                          "[IncidentForm]\r\n"  // cut short: ends at the end of the file
                          "Resource=Db\r\nCondition=Locked\r\nConfigMoniker=SQL\r\n");
  std::shared_ptr<IncidentForms> loaded = LoadInto(std::make_shared<IncidentForms>());
  ASSERT_EQ(loaded->AllForms().size(), 3u);
  const IncidentFormRef& web = loaded->AllForms()[0];
  EXPECT_EQ(web->MVSendAlertPolls(), 8);  // leading number, rounded half to even
  EXPECT_EQ(web->AlertStatus(), AlertOff);
  EXPECT_EQ(web->Priority(), 2);
  EXPECT_EQ(web->GetAttributes()->Item(Value("Note"))->Value(), Value(""));
  const IncidentFormRef& mail = loaded->AllForms()[1];
  EXPECT_EQ(mail->ConfigMoniker(), "SMTP");
  EXPECT_EQ(mail->MVSendAlertPolls(), 8);
  EXPECT_EQ(mail->MVResolveAlertPolls(), 3);
  EXPECT_EQ(mail->PropertiesCRC(), 42);
  EXPECT_EQ(mail->OccurrenceTimeUTC().ToUnixMillis(), OleDate::FromCivil(2024, 1, 15, 7, 30)->ToUnixMillis());
  EXPECT_EQ(mail->Priority(), 0);  // refused, and reported
  EXPECT_EQ(loaded->AllForms()[2]->Resource(), "Db");

  ASSERT_EQ(Errors().size(), 1u);
  EXPECT_EQ(Errors()[0].category, "DevSvcErr");
  EXPECT_EQ(Errors()[0].text.rfind("IncFormSerialize(Load) - Mon: ", 0), 0u) << Errors()[0].text;
  EXPECT_NE(Errors()[0].text.find("'Priority'"), std::string::npos) << Errors()[0].text;
}

TEST_F(IncFormSerializeTest, ABlockWithoutConfigMonikerStopsTheLoadWithALogLine) {
  testing::WriteWholeFile(SerializePath("IFMon.SER"),
                          "[IncidentForm]\r\nResource=A\r\nCondition=B\r\nConfigMoniker=X\r\n[/IncidentForm]\r\n"
                          "[IncidentForm]\r\nResource=C\r\nCondition=D\r\n[/IncidentForm]\r\n"
                          "[IncidentForm]\r\nResource=E\r\nCondition=F\r\nConfigMoniker=X\r\n[/IncidentForm]\r\n");
  std::shared_ptr<IncidentForms> loaded = LoadInto(std::make_shared<IncidentForms>());
  ASSERT_EQ(loaded->AllForms().size(), 1u);
  ASSERT_EQ(Errors().size(), 1u);
  EXPECT_EQ(Errors()[0].text.rfind("IncFormSerialize(Load) - Mon: ", 0), 0u) << Errors()[0].text;
  EXPECT_NE(Errors()[0].text.find("the block at line 6 of " + m_serializer->FilePath("Mon") + " has no ConfigMoniker"),
            std::string::npos)
      << Errors()[0].text;
}

TEST_F(IncFormSerializeTest, AFullDiskDuringASaveLeavesThePreviousFileWhole) {
  AddForms();
  m_serializer->Save(m_forms, "Mon");
  const std::string before = ReadAll(SerializePath("IFMon.SER"));

  auto faulty = std::make_shared<FaultInjectingFileSystem>(MakeLinuxFileSystem());
  Platform::Current().SetFileSystem(faulty);
  m_forms->AllForms()[0]->SetPriority(9);
  faulty->FailNextWrites(1, "IFMon");
  m_serializer->Save(m_forms, "Mon");
  faulty->FailNextRenames(1);
  m_serializer->Save(m_forms, "Mon");
  EXPECT_EQ(faulty->FaultsRaised(), 2);
  EXPECT_EQ(ReadAll(SerializePath("IFMon.SER")), before);
  ASSERT_EQ(Errors().size(), 2u);
  EXPECT_EQ(Errors()[0].text.rfind("IncFormSerialize(Save) - Mon: Disk full", 0), 0u) << Errors()[0].text;
  EXPECT_EQ(Errors()[0].category, "DevSvcErr");

  m_serializer->Save(m_forms, "Mon");
  EXPECT_NE(ReadAll(SerializePath("IFMon.SER")).find("Priority=9\r\n"), std::string::npos);
}

TEST_F(IncFormSerializeTest, ACutOrGarbledFileLoadsWhatItCanAndNeverThrows) {
  AddForms();
  m_serializer->Save(m_forms, "Mon");
  const std::string whole = ReadAll(SerializePath("IFMon.SER"));

  // Cut inside the first block before its moniker, right after it, inside the second
  // block's counters, and inside its end mark.
  struct Cut {
    size_t at;
    size_t forms;
  };
  const size_t second = whole.find("[IncidentForm]", 1);
  const std::vector<Cut> cuts = {{whole.find("HighCPU") + 2, 0},
                                 {second, 1},
                                 {whole.find("mvResolveAlertPolls=5") + 5, 2},
                                 {whole.size() - 4, 2}};
  for (const Cut& cut : cuts) {
    SCOPED_TRACE("cut at " + std::to_string(cut.at));
    testing::WriteWholeFile(SerializePath("IFMon.SER"), whole.substr(0, cut.at));
    m_log->Clear();
    std::shared_ptr<IncidentForms> loaded;
    ASSERT_NO_THROW(loaded = LoadInto(std::make_shared<IncidentForms>()));
    // A block cut before its ConfigMoniker line ends the load, with a log line.
    EXPECT_EQ(loaded->AllForms().size(), cut.forms);
    if (cut.forms > 0) {
      EXPECT_EQ(loaded->AllForms()[0]->PropertiesCRC(), -123456789);
    }
    const bool atLineEnd = whole.compare(cut.at - 2, 2, "\r\n") == 0;
    EXPECT_EQ(!m_log->Matching("may have been cut short", "DevSvcErr").empty(), !atLineEnd);
  }

  std::mt19937 random(20240115);
  const std::vector<std::string> pieces = {"[IncidentForm]\r\n", "[/IncidentForm]\r\n", "Resource=R\r\n",
                                           "Condition=C\r\n",    "ConfigMoniker=M\r\n", "AlertStatus=9\r\n",
                                           "mvSendAlertPolls=1e99\r\n", "=\r\n", "\r", "\x01\xff", "x"};
  for (int round = 0; round < 30; ++round) {
    std::string garbage;
    for (int i = 0; i < 40; ++i) garbage += pieces[random() % pieces.size()];
    testing::WriteWholeFile(SerializePath("IFMon.SER"), garbage);
    std::shared_ptr<IncidentForms> loaded;
    ASSERT_NO_THROW(loaded = LoadInto(std::make_shared<IncidentForms>()));
    for (const IncidentFormRef& form : loaded->AllForms()) {
      EXPECT_FALSE(form->Resource().empty());
      EXPECT_FALSE(form->Condition().empty());
    }
  }
}

}  // namespace
}  // namespace korad
