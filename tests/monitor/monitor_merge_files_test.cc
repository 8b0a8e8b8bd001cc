// What other components leave for a configuration: merge state files and event close
// markers, as a pass picks them up.
#include <filesystem>
#include <map>
#include <string>

#include "incident/xml_serializer.h"
#include "monitor/event_close_message.h"
#include "monitor/monitor_fixture.h"

namespace korad::testing {
namespace {

class MonitorMergeFilesTest : public MonitorTest {
 protected:
  using Items = std::vector<std::pair<std::string, std::string>>;
  // Writes a state file as the state serializer does, with items per configuration.
  void WriteStateFile(const std::string& id, const std::vector<std::pair<std::string, Items>>& byMoniker) {
    auto state = std::make_shared<IncidentState>();
    std::vector<std::string> monikers;
    for (const auto& [moniker, items] : byMoniker) {
      monikers.push_back(moniker);
      state->SetConfigMoniker(moniker);
      for (const auto& [key, value] : items) state->Add(key, Value(value));
    }
    XMLSerializer serializer;
    serializer.SetCurrentConfigs(monikers);
    serializer.Save(state, id);
    ASSERT_TRUE(Exists(SerializePath(id + ".SER")));
  }
  // The value of a key of `moniker` in the state file `id`, Empty when missing.
  Value StateItem(const std::string& id, const std::string& moniker, const std::string& key) {
    auto state = std::make_shared<IncidentState>();
    XMLSerializer().Load(state, id);
    state->SetConfigMoniker(moniker);
    return state->Item(key);
  }
};

TEST_F(MonitorMergeFilesTest, MergeFilesAreMergedKeptOrDeleted) {
  WriteIni("[CPU]\r\nmvFrequency=60\r\n[Disk]\r\nmvFrequency=60\r\n");
  WriteStateFile(kModule, {{"CPU", {{"Threshold", "90"}, {"Kept", "yes"}}}});
  WriteStateFile("MICPU-all", {{"CPU", {{"Threshold", "95"}}}});
  WriteStateFile("MICPU-mixed", {{"CPU", {{"NewKey", "abc"}}}, {"Disk", {{"Limit", "5"}}}});
  WriteStateFile("MICPU-disk-only", {{"Disk", {{"Limit", "7"}}}});
  const std::string untouched = ReadBytes(SerializePath("MICPU-disk-only.SER"));

  auto manager = MakeManager();
  manager->Monitor();
  ASSERT_EQ(Script().CallsFor("CPU"), 1u);

  EXPECT_EQ(StateItem(kModule, "CPU", "Threshold").ToText(), "95");
  EXPECT_EQ(StateItem(kModule, "CPU", "NewKey").ToText(), "abc");
  EXPECT_EQ(StateItem(kModule, "CPU", "Kept").ToText(), "yes");
  // The state keeps its keys upper-cased.
  EXPECT_EQ(Matching("Merging THRESHOLD=95 into incident state").size(), 1u);
  EXPECT_EQ(Matching("Adding NEWKEY=abc into incident state").size(), 1u);

  EXPECT_FALSE(Exists(SerializePath("MICPU-all.SER"))) << "a fully merged file is deleted";
  ASSERT_TRUE(Exists(SerializePath("MICPU-mixed.SER")));
  EXPECT_TRUE(StateItem("MICPU-mixed", "CPU", "NewKey").IsEmpty());
  EXPECT_EQ(StateItem("MICPU-mixed", "Disk", "Limit").ToText(), "5");
  EXPECT_EQ(ReadBytes(SerializePath("MICPU-disk-only.SER")), untouched) << "nothing of CPU: left as it was";
  // Files named for CPU never reach the Disk configuration.
  EXPECT_TRUE(StateItem(kModule, "Disk", "Limit").IsEmpty());
  EXPECT_TRUE(ErrorLines().empty());
}

// A marker names the mvGUID of an event the server or the agent monitor closed. The
// agent monitor writes one while the module's pass may be running: the pass must not
// take the writer's temporary file for a marker, or the marker is lost and the form of a
// removed configuration stays in the file for good.
TEST_F(MonitorMergeFilesTest, EventCloseMarkersDropTheirFormAndOneBeingWrittenIsLeftToItsWriter) {
  WriteIni("[CPU]\r\nmvFrequency=60\r\n[Old]\r\nmvFrequency=60\r\n");
  Script().For("CPU").reports = {{"Server1", "CpuHigh"}, {"Server2", "CpuHigh"}};
  Script().For("Old").reports = {{"Server3", "DiskFull"}};
  auto manager = MakeManager();
  manager->Monitor();
  ASSERT_EQ(QueuedIncidents().size(), 3u);
  std::map<std::string, std::string> guids;
  const std::shared_ptr<IncidentForms> opened = LoadForms();
  for (const IncidentFormRef& form : opened->AllForms()) {
    guids[form->Resource()] = form->GetAttributes()->Item(Value("mvGUID"))->Value().ToText();
  }
  ASSERT_EQ(guids.size(), 3u);
  CreateEventCloseMessage(m_home.Path(), guids["Server1"], kModule, nullptr);
  // A marker for an event this monitor doesn't have is consumed all the same.
  CreateEventCloseMessage(m_home.Path(), "{00000000-0000-0000-0000-000000000000}", kModule, nullptr);
  const std::string folder = m_home / ("ModuleMessages/" + std::string(kModule));
  const std::string temporary = folder + "/." + guids["Server3"] + ".4711.0.tmp";
  WriteWholeFile(temporary, guids["Server3"] + "\r\n");
  WriteIni("[CPU]\r\nmvFrequency=60\r\n");  // "Old" is removed
  Script().For("CPU").reports = {{"Server2", "CpuHigh"}};  // the plug-in no longer sees Server1 either

  Advance(60);
  manager->Monitor();
  EXPECT_EQ(Matching("Found IncidentForm with GUID " + guids["Server1"] + ". Removing this IncidentForm").size(), 1u);
  EXPECT_TRUE(Exists(temporary)) << "the write under way is left alone";
  EXPECT_EQ(LoadForms()->AllForms().size(), 2u);
  EXPECT_EQ(QueuedIncidents().size(), 3u) << "no resolve goes out for a closed event";

  std::filesystem::rename(temporary, folder + "/" + guids["Server3"]);  // the write completes
  Advance(60);
  manager->Monitor();
  const std::shared_ptr<IncidentForms> left = LoadForms();
  ASSERT_EQ(left->AllForms().size(), 1u) << "the removed configuration's form leaves the file";
  EXPECT_EQ(left->AllForms()[0]->Resource(), "Server2");
  EXPECT_TRUE(std::filesystem::is_empty(folder));
}

}  // namespace
}  // namespace korad::testing
