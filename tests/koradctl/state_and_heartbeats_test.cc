// koradctl state show and heartbeats: files written by the serializers and the profile
// functions, as a monitor writes them, come back decoded.
#include "ctl_test_support.h"
#include "incident/inc_form_serialize.h"
#include "incident/incident_forms.h"
#include "incident/incident_state.h"
#include "incident/xml_serializer.h"
#include "platform/profile.h"

namespace korad::ctl::testing {
namespace {

class StateShowTest : public CtlTest {
 protected:
  // The state and forms of monitor "CPU Mon" over configurations CPU1 and Disk.
  void SaveModuleFiles(const std::string& location = {}) {
    auto state = std::make_shared<IncidentState>();
    state->SetConfigMoniker("CPU1");
    state->Add("Threshold", Value("90"));
    state->Add("Note", Value("line one\r\nline two"));
    state->SetConfigMoniker("Disk");
    state->Add("mvLastRunUTC", Value(*OleDate::FromCivil(2024, 1, 15, 11, 0, 0)));
    XMLSerializer stateSerializer;
    if (!location.empty()) stateSerializer.SetSerializeLocation(location);
    stateSerializer.SetCurrentConfigs(std::vector<std::string>{"CPU1", "Disk"});
    stateSerializer.Save(state, "CPU Mon");

    auto forms = std::make_shared<IncidentForms>();
    forms->SetConfigMoniker("CPU1");
    IncidentFormRef form = forms->Add("web01", "CPUHigh", {Value("Drive:=C:"), Value("Text:=a=b")});
    ASSERT_TRUE(form);
    form->SetPriority(3);
    form->SetAlertStatus(AlertOn);
    form->SetMVSendAlertPolls(2);
    form->SetProcessedByMM(true);
    form->SetKeyAttributes("Drive");
    form->SetOccurrenceTimeUTC(FakeClock::DefaultStart());
    IncFormSerialize formSerializer;
    if (!location.empty()) formSerializer.SetSerializeLocation(location);
    formSerializer.Save(forms, "CPU Mon");
  }
};

TEST_F(StateShowTest, StateAndFormsOfAModuleAreShownPerConfiguration) {
  SaveModuleFiles();
  const RunResult result = Run({"state", "show", "CPU Mon"});
  ASSERT_EQ(result.code, kExitOk) << result.err;
  const std::string serialize = m_home / "Serialize";
  EXPECT_EQ(Lines(result.out), (std::vector<std::string>{
                                   "state file | " + serialize + "/CPUMon.SER | 4 item(s)",
                                   "state | CPU1 | THRESHOLD | 90",
                                   "state | CPU1 | NOTE | line one\\r\\nline two",
                                   // The local twin of a UTC date is made on reading (clock at UTC+2).
                                   "state | DISK | MVLASTRUNUTC | 2024-01-15 11:00:00",
                                   "state | DISK | MVLASTRUN | 2024-01-15 13:00:00",
                                   "form file | " + serialize + "/IFCPUMon.SER | 1 form(s)",
                                   "form 1 | CPU1 | web01 | CPUHigh | AlertOn | priority 3 | polls send 2 resolve -2 | "
                                   "processed True | keys Drive | occurred 2024-01-15 14:00:00",
                                   "form 1 | attribute | Drive | C:",
                                   "form 1 | attribute | Text | a=b",
                               }));
  EXPECT_EQ(result.err, "");
}

TEST_F(StateShowTest, TheModulesSerializeLocationIsFollowedAndMissingFilesAreNamed) {
  const std::string elsewhere = m_home / "Elsewhere";
  SaveModuleFiles(elsewhere);
  EXPECT_EQ(Run({"state", "show", "CPU Mon"}).code, kExitFailure) << "not in the default folder";
  EXPECT_EQ(Lines(Run({"state", "show", "CPU Mon", "--location", elsewhere}).out).size(), 9u);

  ASSERT_TRUE(WritePrivateProfileString("CPU Mon", "SerializeLocation", elsewhere, m_home / "BIN/MvAgent.ini"));
  std::filesystem::remove(elsewhere + "/IFCPUMon.SER");
  const RunResult result = Run({"state", "show", "CPU Mon"});
  EXPECT_EQ(result.code, kExitOk) << result.err;
  EXPECT_EQ(Lines(result.out).front(), "state file | " + elsewhere + "/CPUMon.SER | 4 item(s)");
  EXPECT_EQ(Lines(result.out).back(), "form file | " + elsewhere + "/IFCPUMon.SER | missing");

  const RunResult none = Run({"state", "show", "Nobody"});
  EXPECT_EQ(none.code, kExitFailure);
  EXPECT_NE(none.err.find("no state file " + (m_home / "Serialize/Nobody.SER")), std::string::npos) << none.err;
}

TEST_F(StateShowTest, ADamagedFormFileShowsWhatCouldBeReadAndFails) {
  // A state line without a moniker is allowed and skipped; a form block without its
  // moniker is damage.
  korad::testing::WriteWholeFile(m_home / "Serialize/Broken.SER", "CPU1-A=1\r\nno moniker\r\nCPU1-B=2\r\n");
  korad::testing::WriteWholeFile(m_home / "Serialize/IFBroken.SER",
                                 "[IncidentForm]\r\nResource=R\r\nCondition=C\r\n[/IncidentForm]\r\n");
  const RunResult result = Run({"state", "show", "Broken"});
  EXPECT_EQ(result.code, kExitFailure);
  EXPECT_EQ(Lines(result.out), (std::vector<std::string>{
                                   "state file | " + (m_home / "Serialize/Broken.SER") + " | 2 item(s)",
                                   "state | CPU1 | A | 1",
                                   "state | CPU1 | B | 2",
                                   "form file | " + (m_home / "Serialize/IFBroken.SER") + " | 0 form(s)",
                               }));
  EXPECT_EQ(result.err, "koradctl: IncFormSerialize(Load) - Broken: the block at line 1 of " +
                            (m_home / "Serialize/IFBroken.SER") + " has no ConfigMoniker\n");
}

using HeartbeatsTest = CtlTest;

TEST_F(HeartbeatsTest, EachModuleWithItsDateAndTheLinesOfItsError) {
  const std::string file = m_home / "Serialize/MonitorHeartbeats.SER";
  EXPECT_EQ(Run({"heartbeats"}).code, kExitFailure) << "no file yet";

  std::filesystem::create_directories(m_home / "Serialize");
  ASSERT_TRUE(WritePrivateProfileString("CPUMon", "HBDate", "2024-01-15T12:00:00Z", file));
  ASSERT_TRUE(WritePrivateProfileString("CPUMon", "CurrentError", "", file));
  ASSERT_TRUE(WritePrivateProfileString("DiskMon", "HBDate", "2024-01-15T12:01:00Z", file));
  ASSERT_TRUE(WritePrivateProfileString(
      "DiskMon", "CurrentError",
      "[mv[Disk1]]: cannot read /dev/sdb***mvCrLf***permission denied***mvCrLf******mvCrLf***", file));

  const RunResult result = Run({"heartbeats"});
  ASSERT_EQ(result.code, kExitOk) << result.err;
  EXPECT_EQ(Lines(result.out), (std::vector<std::string>{
                                   "CPUMon | 2024-01-15T12:00:00Z | no error",
                                   "DiskMon | 2024-01-15T12:01:00Z | error:",
                                   "DiskMon |   [mv[Disk1]]: cannot read /dev/sdb",
                                   "DiskMon |   permission denied",
                               }));
}

}  // namespace
}  // namespace korad::ctl::testing
