// Tracked objects as a plug-in reports them during a pass, and the data collection text
// the engine makes of them at the end of it.
#include "incident/tracked_objects.h"

#include <gtest/gtest.h>

#include "contracts/error.h"
#include "incident/tracked_objects_xml.h"
#include "support/fake_clock.h"
#include "support/fake_environment.h"
#include "support/recording_log.h"

namespace korad {
namespace {

using testing::FakeClock;
using testing::RecordingLogManager;
using testing::ScopedPlatformClock;

// The description an Error carries; fails the test if the call raises none.
std::string RaisedText(const std::function<void()>& call, int32_t number = kLibraryError) {
  try {
    call();
  } catch (const Error& e) {
    EXPECT_EQ(e.Number(), number) << e.Description();
    EXPECT_EQ(e.Source(), "DevSvcErr");
    return e.Description();
  }
  ADD_FAILURE() << "no error raised";
  return {};
}

TEST(TrackedObjects, APassOfReportsBecomesOneDataCollectionTextAndTheCollectionEmpties) {
  // Local time 2024-01-15 13:00:00 (UTC+1): the date of properties added without one.
  ScopedPlatformClock clock(std::make_shared<FakeClock>(FakeClock::DefaultStart(), 60));
  testing::ScopedEnvironment environment;
  environment->variables["KORAD_TO_OWNER"] = "ops team";
  auto log = std::make_shared<RecordingLogManager>();
  TrackedObjects objects;

  // The plug-in reports its inventory; the second report of C: joins the first object.
  TrackedObjectRef disk = objects.Add("srv1", "C:", "Disk");
  disk->Properties()->Add("Free", Value("512"), "MB", "2024-01-15 11:00:00");
  disk->Properties()->Add("Label", Value("Sys & <Boot> \"main\" 'x' &amp;"));
  objects.Add("srv1", "empty");
  TrackedObjectRef nic = objects.Add("srv1", "eth0", "   ");
  nic->Properties()->Add("Speed", Value(int32_t{1000}));
  nic->Properties()->Add("Owner", Value("[?mvEnvVar.KORAD_TO_OWNER]"));
  objects.Add("srv2", "lonely", "Share");
  TrackedObjectRef again = objects.Add("SRV1", "c:", "DISK");
  EXPECT_EQ(again, disk) << "the key ignores case, so the same object comes back";
  again->Properties()->Add("free", Value("498"), "GB", "2024-01-15 11:30:00");
  ASSERT_EQ(objects.Count(), 4);
  EXPECT_EQ(objects.CurrentObject(), 3);
  EXPECT_EQ(disk->Properties()->Count(), 2) << "a property reported again only takes the new value";

  const std::string xml = ConvertTrackedObjectsToXML(7, objects, log, "DiskMonitor");
  EXPECT_EQ(xml,
            "<Resources>\r\n"
            "  <Resource RefEntity=\"7\" Name=\"srv1\">\r\n"
            "    <TrackedObjects>\r\n"
            "      <TrackedObject Name=\"C:\" TOType=\"Disk\">\r\n"
            "        <Properties>\r\n"
            "          <Property Name=\"Free\" PType=\"MB\" CollectionDate=\"2024-01-15 11:00:00\">498</Property>\r\n"
            "          <Property Name=\"Label\" CollectionDate=\"2024-01-15 13:00:00\">"
            "Sys &amp; &lt;Boot&gt; &quot;main&quot; 'x' &amp;amp;</Property>\r\n"
            "        </Properties>\r\n"
            "      </TrackedObject>\r\n"
            "      <TrackedObject Name=\"eth0\">\r\n"
            "        <Properties>\r\n"
            "          <Property Name=\"Speed\" CollectionDate=\"2024-01-15 13:00:00\">1000</Property>\r\n"
            "          <Property Name=\"Owner\" CollectionDate=\"2024-01-15 13:00:00\">ops team</Property>\r\n"
            "        </Properties>\r\n"
            "      </TrackedObject>\r\n"
            "    </TrackedObjects>\r\n"
            "  </Resource>\r\n"
            "  <Resource RefEntity=\"7\" Name=\"srv2\">\r\n"
            "    <TrackedObjects>\r\n"
            "    </TrackedObjects>\r\n"
            "  </Resource>\r\n"
            "</Resources>\r\n");
  EXPECT_EQ(objects.Count(), 0) << "nothing stays for the next pass";

  std::vector<std::string> trace;
  for (const testing::LogLine& line : log->Lines()) {
    EXPECT_EQ(line.category, "DiskMonitor");
    EXPECT_EQ(line.level, logLevelDebug);
    trace.push_back(line.text);
  }
  EXPECT_EQ(trace, (std::vector<std::string>{
                       "Getting Tracked Object XML",
                       "Adding XML for Tracked Object C:",
                       "Tracked Object had no properties...not adding to final XML",
                       "Adding XML for Tracked Object eth0",
                       "Tracked Object had no properties...not adding to final XML",
                       "Retrieved Tracked Object XML",
                   }));

  // A pass without any properties sends nothing, and one without objects says so.
  objects.Add("srv1", "bare");
  log->Clear();
  EXPECT_EQ(ConvertTrackedObjectsToXML(7, objects, log, "DiskMonitor"), "");
  EXPECT_EQ(objects.Count(), 0);
  EXPECT_EQ(log->Matching("Retrieved Tracked Object XML").size(), 1u);
  log->Clear();
  EXPECT_EQ(ConvertTrackedObjectsToXML(7, objects, log, "DiskMonitor"), "");
  EXPECT_EQ(log->Matching("No Tracked Objects found").size(), 1u);
  EXPECT_TRUE(log->Matching("Retrieved").empty());
}

TEST(TrackedObjects, LookupsAndRemovalsRaiseTheTextsPlugInsKnow) {
  ScopedPlatformClock clock;
  TrackedObjects objects;
  TrackedObjectRef disk = objects.Add("srv1", "C:", "Disk");
  objects.Add("srv1", "D:");
  EXPECT_EQ(objects.Item(Value("SRV1:::c::::disk")), disk);
  EXPECT_EQ(objects.Item(Value(int16_t{1})), disk);
  EXPECT_EQ(objects.Item(Value(2.0))->ObjectName(), "D:");
  EXPECT_EQ(objects.Item(Value(1.0f)), disk);

  EXPECT_EQ(RaisedText([&] { objects.Item(Value("srv1:::E:::")); }),
            "TrackedObjects.Item: Could Not Find The 'srv1:::E:::' tracked object.  Please Verify That This Tracked "
            "Object Exists.");
  EXPECT_EQ(RaisedText([&] { objects.Item(Value(int32_t{3})); }),
            "TrackedObjects.Item: Index is greater than the number of tracked objects");
  EXPECT_EQ(RaisedText([&] { objects.Item(Value(true)); }),
            "TrackedObjects.Item: Could not identify the type of the Index parameter");
  EXPECT_EQ(RaisedText([&] { objects.Item(Value(int32_t{0})); }, kErrSubscriptRange),
            "TrackedObjects.Item: Subscript out of range");
  EXPECT_EQ(RaisedText([&] { objects.Remove(3); }),
            "TrackedObjects.Remove: Index is greater than count of tracked objects");

  const TOPropertiesRef& properties = disk->Properties();
  properties->Add("Free", Value("1"), "MB", "2024-01-01 00:00:00");
  properties->Add("Used", Value("2"));
  EXPECT_EQ(properties->Item(Value("USED"))->PropertyValue().ToText(), "2");
  EXPECT_EQ(properties->Item(Value(int32_t{1}))->PropertyType(), "MB");
  EXPECT_EQ(RaisedText([&] { properties->Item(Value("Size")); }),
            "TOProperties.Item: Could Not Find The 'Size' Property.  Please Verify That This Property Exists.");
  EXPECT_EQ(RaisedText([&] { properties->Item(Value(3.0)); }),
            "TOProperties.Item: Index is greater than the number of properties");
  EXPECT_EQ(RaisedText([&] { properties->Remove(Value(int16_t{7})); }),
            "TOProperties.Remove: Index is greater than count of properties");
  EXPECT_EQ(RaisedText([&] { properties->Remove(Value()); }),
            "TOProperties.Remove: Could not identify the type of the Index parameter");
  EXPECT_EQ(RaisedText([&] { properties->Add("Bad", Value(Value::Null)); }, kErrInvalidUseOfNull),
            "TOProperties.Add: TOProperty.PropertyValue(Let): Invalid use of Null");
  properties->Remove(Value("free"));
  properties->Remove(Value(int32_t{1}));
  EXPECT_EQ(properties->Count(), 0);

  objects.Remove(1);
  ASSERT_EQ(objects.Count(), 1);
  EXPECT_EQ(objects.Item(Value(int32_t{1}))->ObjectName(), "D:");

  // Late binding, as scripts and the host reach these classes.
  ObjectRef object = objects.Item(Value(int32_t{1}));
  EXPECT_EQ(object->ClassId(), "KORADevServices.TrackedObject");
  object->LetProperty("ObjectType", Value("Volume"));
  EXPECT_EQ(object->GetProperty("objecttype").ToText(), "Volume");
  EXPECT_EQ(object->GetProperty("Properties").ToObject()->ClassId(), "KORADevServices.TOProperties");
  EXPECT_EQ(ObjectRef(std::make_shared<TrackedObjects>())->GetProperty("CurrentObject").ToLong(), -1);
}

TEST(TrackedObjects, WithALogManagerFailuresAreLoggedAndReachEveryMember) {
  ScopedPlatformClock clock;
  auto log = std::make_shared<RecordingLogManager>();
  TrackedObjects objects;
  objects.SetLogManager(log);
  TrackedObjectRef disk = objects.Add("srv1", "C:");

  EXPECT_EQ(objects.Item(Value("nope")), nullptr);
  disk->Properties()->Item(Value("nope"));  // the object handed its log manager on
  const std::vector<testing::LogLine> lines = log->Lines();
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0].text.rfind("TrackedObjects.Item: Could Not Find The 'nope'", 0), 0u);
  EXPECT_EQ(lines[1].text.rfind("TOProperties.Item: Could Not Find The 'nope'", 0), 0u);
  for (const testing::LogLine& line : lines) {
    EXPECT_EQ(line.category, "DevSvcErr");
    EXPECT_EQ(line.level, logLevelError);
  }

  // A plug-in that clears the public field breaks the conversion, not the agent.
  disk->m_objTOProp = nullptr;
  log->Clear();
  EXPECT_EQ(ConvertTrackedObjectsToXML(7, objects, log, "DiskMonitor"), "");
  EXPECT_EQ(log->Matching("MonitorManager.ConvertTrackedObjectsToXML: Object required", "DevSvcErr").size(), 1u);
  EXPECT_EQ(RaisedText([&] { ConvertTrackedObjectsToXML(7, objects, nullptr, "DiskMonitor"); }, kErrObjectRequired),
            "MonitorManager.ConvertTrackedObjectsToXML: Object required");
}

}  // namespace
}  // namespace korad
