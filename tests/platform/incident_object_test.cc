// The incident object as the engine fills it, and the two texts a reader of incident
// strings gets from it.
#include "platform/incident_object.h"

#include <gtest/gtest.h>

#include "contracts/error.h"

namespace korad {
namespace {

IncidentObject DiskIncident() {
  IncidentObject incident;
  incident.SetItem("Class", Value("Disk Full(Updated)"));
  incident.SetItem("OccurrenceUniversal", Value("2024-03-05T14:30:00Z"));
  incident.SetItem("Priority", Value(int16_t{3}));
  incident.SetItem("Source", Value("srv1"));
  incident.SetItem("mvGUID", Value("{0F3A}"));
  incident.SetItem("Detail", Value("free < 5% & falling"));
  return incident;
}

TEST(IncidentObject, ItsStringIsTheMapTextAndReadsBackItemForItem) {
  IncidentObject incident = DiskIncident();
  incident.SetItem("class", Value("Disk Full"));  // set again: same place, new value
  ASSERT_EQ(incident.Count(), 6);
  EXPECT_EQ(incident.Item("Class").ToText(), "Disk Full");
  EXPECT_TRUE(incident.Item("Unset").IsEmpty());

  ObjectMap read;
  read.SetXml(incident.Text());
  ASSERT_EQ(read.Count(), 6);
  const char* order[] = {"Class", "OccurrenceUniversal", "Priority", "Source", "mvGUID", "Detail"};
  for (int32_t i = 0; i < 6; ++i) EXPECT_EQ(read.Key(i), order[i]);
  EXPECT_EQ(read.Item("Class").ToText(), "Disk Full");
  EXPECT_EQ(read.ItemType(2), ObjectMap::kVarInteger) << "the priority keeps its kind";
  EXPECT_EQ(read.Item("Detail").ToText(), "free < 5% & falling");
}

TEST(IncidentObject, TextFormIsOneLinePerItemOrAClearRefusal) {
  EXPECT_EQ(DiskIncident().TextForm(),
            "[Incident]\r\n"
            "Class=Disk Full(Updated)\r\n"
            "OccurrenceUniversal=2024-03-05T14:30:00Z\r\n"
            "Priority=3\r\n"
            "Source=srv1\r\n"
            "mvGUID={0F3A}\r\n"
            "Detail=free < 5% & falling\r\n");

  struct Case {
    const char* name;
    Value value;
    const char* cause;
  };
  const Case refused[] = {
      {"Note", Value("two\r\nlines"), "holds a line end"},
      {"Note", Value(" padded"), "begins or ends with a blank"},
      {"a=b", Value("x"), "can't begin a line"},
      {";Note", Value("x"), "can't begin a line"},
      {"Map", Value(ObjectRef(std::make_shared<ObjectMap>())), "has no text"},
  };
  for (const Case& c : refused) {
    IncidentObject incident = DiskIncident();
    incident.SetItem(c.name, c.value);
    try {
      incident.TextForm();
      ADD_FAILURE() << c.name << " was written";
    } catch (const Error& e) {
      EXPECT_EQ(e.Number(), kLibraryError);
      EXPECT_EQ(e.Description().rfind("IncidentObject.TextForm: the item '" + std::string(c.name) + "' ", 0), 0u)
          << e.Description();
      EXPECT_NE(e.Description().find(c.cause), std::string::npos) << e.Description();
    }
  }
}

}  // namespace
}  // namespace korad
