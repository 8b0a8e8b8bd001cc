// ObjectMap: every kind of value and every byte through its XML and back, the date twins,
// and the texts it must refuse without harm.
#include "platform/object_map.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "contracts/error.h"
#include "platform/base64.h"
#include "support/error_number.h"
#include "support/fake_clock.h"

namespace korad {
namespace {

using testing::FailureOf;

using testing::FakeClock;
using testing::ScopedPlatformClock;

OleDate At(int year, int month, int day, int hour = 0, int minute = 0, int second = 0, int ms = 0) {
  return *OleDate::FromCivil(year, month, day, hour, minute, second, ms);
}

Value Map(ObjectMapRef map) { return Value(ObjectRef(std::move(map))); }

void ExpectSameMaps(const ObjectMap& expected, const ObjectMap& actual, const std::string& where = "top") {
  ASSERT_EQ(actual.Count(), expected.Count()) << where;
  for (int32_t i = 0; i < expected.Count(); ++i) {
    const std::string at = where + "/" + expected.Key(i);
    EXPECT_EQ(actual.Key(i), expected.Key(i)) << at;
    EXPECT_EQ(actual.ItemType(i), expected.ItemType(i)) << at;
    EXPECT_EQ(actual.IsUniversalTwin(i), expected.IsUniversalTwin(i)) << at;
    const Value& want = expected.Item(i);
    const Value& got = actual.Item(i);
    if (want.Kind() == ValueKind::Date) {
      EXPECT_EQ(got.ToDate().ToUnixMillis(), want.ToDate().ToUnixMillis()) << at;
    } else if (ObjectMapRef nested = ObjectMap::MapOf(want)) {
      ObjectMapRef gotNested = ObjectMap::MapOf(got);
      ASSERT_NE(gotNested, nullptr) << at;
      ExpectSameMaps(*nested, *gotNested, at);
    } else {
      EXPECT_TRUE(got == want) << at << ": " << got.TypeName();
    }
  }
}

TEST(ObjectMap, EveryKindAndEveryByteRoundTripsThroughTheXml) {
  ScopedPlatformClock clock(std::make_shared<FakeClock>(FakeClock::DefaultStart(), 120));

  auto deeper = std::make_shared<ObjectMap>();
  deeper->Add("Level", Value(int32_t{3}));
  auto keyData = std::make_shared<ObjectMap>();
  keyData->Add("Disk", Value("C:"));
  keyData->Add("Checked", Value(At(2024, 3, 5, 16, 30, 0)));
  keyData->Add("Deeper", Map(deeper));
  keyData->Add("Nothing inside", Map(std::make_shared<ObjectMap>()));

  const std::string texts[] = {
      "a=b;c=d",
      "<x attr=\"1\">&amp; & &lt;</x> ]]> 'single'",
      "line1\r\nline2\rline3\nline4\r\n",
      "  padded both ends\t",
      "caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80",  // UTF-8 up to four bytes
      std::string("nul\0inside", 10),
      "\xFF\xFE not UTF-8 \xC3",
      "\xC0\xAF overlong slash",
      "\xED\xA0\x80 a surrogate",
      "\x01\x1F\x7F controls",
      "\xEF\xBF\xBE not a character",
      "",
  };
  const std::string names[] = {
      "RequestType", "EVENT.KEYDATA_x-1", "My Key", "1st", "xmlish", "with:colon", "caf\xC3\xA9",
      "\xFF\x01 raw", "", "tab\tand\r\nline", "Item",
  };

  ObjectMap map;
  for (size_t i = 0; i < std::size(texts); ++i) map.Add("Text" + std::to_string(i), Value(texts[i]));
  for (const std::string& name : names) map.Add(name, Value("named " + name));
  map.Add("Empty", Value());
  map.Add("Null", Value(Value::Null));
  map.Add("IntegerMin", Value(int16_t{-32768}));
  map.Add("LongMax", Value(std::numeric_limits<int32_t>::max()));
  map.Add("LongMin", Value(std::numeric_limits<int32_t>::min()));
  map.Add("Single", Value(0.1f));
  map.Add("Double", Value(0.1));
  map.Add("DoubleTiny", Value(5e-324));
  map.Add("DoubleHuge", Value(-1.7976931348623157e308));
  map.Add("Infinity", Value(std::numeric_limits<double>::infinity()));
  map.Add("True", Value(true));
  map.Add("False", Value(false));
  map.Add("Seen", Value(At(2024, 3, 5, 16, 30, 9, 250)));
  map.Add("Midnight", Value(At(2024, 1, 1)));
  map.Add("KeyData", Map(keyData));
  map.Add("NoObject", Value(ObjectRef()));

  const std::string xml = map.Xml();
  EXPECT_EQ(xml.find("\r\n"), std::string::npos) << "no line end may carry meaning";
  ObjectMap back;
  back.SetXml(xml);
  ExpectSameMaps(map, back);
  EXPECT_EQ(back.Xml(), xml) << "the text is stable";

  // What travelled encoded and what didn't.
  EXPECT_NE(xml.find("<Text2 type=\"String\">line1&#13;\nline2&#13;line3\nline4&#13;\n</Text2>"), std::string::npos);
  EXPECT_NE(xml.find("<Text4 type=\"String\">caf\xC3\xA9"), std::string::npos) << "valid UTF-8 stays readable";
  EXPECT_NE(xml.find("<Text6 type=\"String\" encoding=\"base64\">" + Base64Encode(texts[6]) + "</Text6>"),
            std::string::npos);
  EXPECT_NE(xml.find("<Item name=\"My Key\" type=\"String\">"), std::string::npos);
  EXPECT_NE(xml.find("<Item name=\"tab&#9;and&#13;&#10;line\" type=\"String\">"), std::string::npos);
  EXPECT_NE(xml.find("<Item name=\"" + Base64Encode("\xFF\x01 raw") + "\" nameEncoding=\"base64\" type=\"String\" encoding=\"base64\">"),
            std::string::npos);
  EXPECT_NE(xml.find("<Item type=\"String\">named Item</Item>"), std::string::npos);

  ObjectMap nan;
  nan.Add("NaN", Value(std::numeric_limits<double>::quiet_NaN()));
  ObjectMap nanBack;
  nanBack.SetXml(nan.Xml());
  EXPECT_TRUE(std::isnan(nanBack.Item("NaN").ToDouble()));
}

TEST(ObjectMap, WritesTheDocumentedFormAndReadsHandWrittenMessages) {
  ObjectMap map;
  map.Add("RequestType", Value("AgentOptions"));
  map.Add("mvEntityID", Value(int32_t{42}));
  map.Add("My Key", Value("a & b\r\n"));
  map.Add("Ok", Value(true));
  map.Add("Priority", Value(int16_t{3}));
  map.Add("Blank", Value(""));
  EXPECT_EQ(map.Xml(),
            "<ObjectMap><RequestType type=\"String\">AgentOptions</RequestType>"
            "<mvEntityID type=\"Long\">42</mvEntityID>"
            "<Item name=\"My Key\" type=\"String\">a &amp; b&#13;\n</Item>"
            "<Ok type=\"Boolean\">True</Ok><Priority type=\"Integer\">3</Priority>"
            "<Blank type=\"String\"/></ObjectMap>");

  ObjectMap packet;
  packet.Add("mvDestDirectory", Value("C:\\Temp\\"));
  packet.Add("mvFileName", Value("a.txt"));
  const std::string body = packet.Xml();
  EXPECT_NE(body.find("<mvDestDirectory "), std::string::npos) << "the file queue tells packets apart by this";
  EXPECT_NE(body.find("<mvFileName "), std::string::npos);

  // What a server or an operator may write by hand: a declaration, comments, layout,
  // CDATA, items without a type.
  ObjectMap read;
  read.SetXml(
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n"
      "<!-- close an event -->\r\n"
      "<ObjectMap>\r\n"
      "  <RequestType>EventClose</RequestType>\r\n"
      "  <mvEntityID type=\"Long\"> 42 </mvEntityID>\r\n"
      "  <Body type=\"String\"><![CDATA[<raw & text>]]></Body>\r\n"
      "  <Item name=\"My Key\">v</Item>\r\n"
      "  <EVENT.KEYDATA type=\"Map\">\r\n"
      "    <Disk>C:</Disk>\r\n"
      "  </EVENT.KEYDATA>\r\n"
      "</ObjectMap>\r\n");
  ASSERT_EQ(read.Count(), 5);
  EXPECT_EQ(read.Item("requesttype").ToText(), "EventClose");
  EXPECT_EQ(read.ItemType(1), ObjectMap::kVarLong);
  EXPECT_EQ(read.Item("MVENTITYID").ToLong(), 42);
  EXPECT_EQ(read.Item("Body").ToText(), "<raw & text>");
  EXPECT_EQ(read.Key(3), "My Key");
  ObjectMapRef keyData = ObjectMap::MapOf(read.Item("EVENT.KEYDATA"));
  ASSERT_NE(keyData, nullptr);
  EXPECT_EQ(keyData->Count(), 1);
  EXPECT_EQ(keyData->Item("Disk").ToText(), "C:");
}

TEST(ObjectMap, DatesCarryTheirUniversalTwin) {
  ScopedPlatformClock clock(std::make_shared<FakeClock>(FakeClock::DefaultStart(), 120));  // UTC+2

  ObjectMap map;
  map.Add("Seen", Value(At(2024, 3, 5, 16, 30, 0, 250)));
  ASSERT_EQ(map.Count(), 2);
  EXPECT_EQ(map.ItemType(0), ObjectMap::kVarDate);
  EXPECT_EQ(map.Key(1), "SeenUniversal");
  EXPECT_EQ(map.ItemType(1), ObjectMap::kVarString);
  EXPECT_EQ(map.Item(1).ToText(), "2024-03-05T14:30:00Z");
  EXPECT_TRUE(map.IsUniversalTwin(1));
  const std::string xml = map.Xml();
  EXPECT_EQ(xml, "<ObjectMap><Seen type=\"Date\">2024-03-05T14:30:00.250Z</Seen></ObjectMap>")
      << "the date travels as its moment in UTC; the twin is rebuilt on reading";

  // Adding the date again refreshes the twin in its place.
  map.Add("seen", Value(At(2024, 3, 5, 18, 0, 0)));
  ASSERT_EQ(map.Count(), 2);
  EXPECT_EQ(map.Item("SeenUniversal").ToText(), "2024-03-05T16:00:00Z");
  // A date replaced by text takes its twin with it.
  map.Add("Seen", Value("later"));
  EXPECT_EQ(map.Count(), 1);
  EXPECT_FALSE(map.Exists("SeenUniversal"));

  // A date written by the server: the twin names the server's moment exactly.
  ObjectMap message;
  message.SetXml(
      "<ObjectMap><EVENT.InitialIncidentOccurrence type=\"Date\">2024-03-05T14:30:00Z"
      "</EVENT.InitialIncidentOccurrence><EVENT.Source>srv1</EVENT.Source></ObjectMap>");
  ASSERT_EQ(message.Count(), 3);
  EXPECT_EQ(message.Key(1), "EVENT.InitialIncidentOccurrenceUniversal");
  EXPECT_EQ(message.Item("EVENT.InitialIncidentOccurrenceUniversal").ToText(), "2024-03-05T14:30:00Z");
  EXPECT_EQ(message.Item(0).ToDate().ToUnixMillis(), At(2024, 3, 5, 16, 30).ToUnixMillis()) << "local time";
  EXPECT_EQ(message.Key(2), "EVENT.Source");

  // A twin the caller set itself is its own item: it is written, and a date refreshes it.
  ObjectMap own;
  own.Add("WhenUniversal", Value("given"));
  own.Add("When", Value(At(2024, 3, 5, 12, 0)));
  EXPECT_EQ(own.Item("WhenUniversal").ToText(), "2024-03-05T10:00:00Z");
  EXPECT_NE(own.Xml().find("<WhenUniversal type=\"String\">2024-03-05T10:00:00Z</WhenUniversal>"), std::string::npos);
}

TEST(ObjectMap, NamesArePositionsOrCaseInsensitiveKeys) {
  ObjectMap map;
  map.Add("Key", Value("1"));
  map.Add("Other", Value("x"));
  map.Add("KEY", Value("2"));
  ASSERT_EQ(map.Count(), 2) << "a name added again takes the new value in its place";
  EXPECT_EQ(map.Key(0), "Key");
  EXPECT_EQ(map.Item("key").ToText(), "2");
  EXPECT_EQ(map.Item(Value(int32_t{1})).ToText(), "x");
  EXPECT_EQ(map.Item(Value("OTHER")).ToText(), "x");
  EXPECT_TRUE(map.Item("missing").IsEmpty()) << "a missing name reads Empty, as a dictionary read does";
  EXPECT_FALSE(map.Exists("missing"));
  EXPECT_EQ(FailureOf([&] { map.Item(2); }).Number(), kErrSubscriptRange);
  EXPECT_EQ(FailureOf([&] { map.Key(-1); }).Number(), kErrSubscriptRange);
  EXPECT_EQ(FailureOf([&] { map.Item(Value(true)); }).Number(), kErrTypeMismatch);

  // The late-bound surface the host and scripts use.
  ObjectRef object = std::make_shared<ObjectMap>();
  EXPECT_EQ(object->ClassId(), "mvKernel.ObjectMap");
  object->LetProperty("xml", Value(map.Xml()));
  EXPECT_EQ(object->GetProperty("Count").ToLong(), 2);
  EXPECT_EQ(object->GetProperty("XML").ToText(), map.Xml());
}

struct Refusal {
  std::string text;
  std::string cause;
};

TEST(ObjectMap, RefusesHostileAndBrokenTextsWithAClearErrorAndKeepsItsContent) {
  const std::string deepMaps = [] {
    std::string open, close;
    for (int i = 0; i <= ObjectMap::kMaxDepth; ++i) {
      open += "<m type=\"Map\">";
      close += "</m>";
    }
    return "<ObjectMap>" + open + close + "</ObjectMap>";
  }();
  std::string deepElements = "<ObjectMap>";
  for (int i = 0; i < 100000; ++i) deepElements += "<a>";
  static constexpr char kWithNul[] = "<ObjectMap><a>x\0y</a></ObjectMap>";
  const std::string laughs =
      "<?xml version=\"1.0\"?><!DOCTYPE ObjectMap [<!ENTITY a \"aaaaaaaaaa\">"
      "<!ENTITY b \"&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;\"><!ENTITY c \"&b;&b;&b;&b;&b;&b;&b;&b;&b;&b;\">"
      "<!ENTITY d \"&c;&c;&c;&c;&c;&c;&c;&c;&c;&c;\">]><ObjectMap><x>&d;&d;&d;&d;</x></ObjectMap>";
  const Refusal refusals[] = {
      {"", "the text is empty"},
      {"  \r\n ", "the text is empty"},
      {"not xml at all", "isn't well-formed XML"},
      {"<ObjectMap><a type=\"String\">x</a>", "isn't well-formed XML"},
      {"<ObjectMap><a type=\"String\">x</b></ObjectMap>", "isn't well-formed XML"},
      {"<ObjectMap><a>\xFF\xFE</a></ObjectMap>", "isn't well-formed XML"},
      {"<ObjectMap><a>&undefined;</a></ObjectMap>", "isn't well-formed XML"},
      {std::string(kWithNul, sizeof kWithNul - 1), "isn't well-formed XML"},
      {"<Other><a>x</a></Other>", "the root element is 'Other', not 'ObjectMap'"},
      {laughs, "a document type declaration isn't accepted"},
      {"<!DOCTYPE ObjectMap [<!ENTITY xxe SYSTEM \"file:///etc/passwd\">]><ObjectMap><a>&xxe;</a></ObjectMap>",
       "a document type declaration isn't accepted"},
      {"<!DOCTYPE ObjectMap SYSTEM \"http://example.invalid/map.dtd\"><ObjectMap/>",
       "a document type declaration isn't accepted"},
      {"<ObjectMap><a type=\"Long\">12x</a></ObjectMap>", "the item 'a' of type Long holds '12x', which isn't one"},
      {"<ObjectMap><a type=\"Integer\">40000</a></ObjectMap>", "of type Integer holds '40000'"},
      {"<ObjectMap><a type=\"Boolean\">maybe</a></ObjectMap>", "of type Boolean holds 'maybe'"},
      {"<ObjectMap><a type=\"Date\">yesterday</a></ObjectMap>", "of type Date holds 'yesterday'"},
      {"<ObjectMap><a type=\"Currency\">1</a></ObjectMap>", "the item 'a' has the unknown type 'Currency'"},
      {"<ObjectMap><a type=\"String\" encoding=\"base64\">@@@@</a></ObjectMap>", "can't be decoded"},
      {"<ObjectMap><a type=\"Long\" encoding=\"base64\">MQ==</a></ObjectMap>", "which its type doesn't take"},
      {"<ObjectMap><a type=\"String\"><b/></a></ObjectMap>", "the item 'a' holds markup"},
      {"<ObjectMap>stray<a/></ObjectMap>", "text outside an item in 'ObjectMap'"},
      {deepMaps, "maps are nested deeper than 64 levels"},
      {deepElements, "isn't well-formed XML"},
      {"<ObjectMap>" + std::string(ObjectMap::kMaxXmlBytes, ' ') + "</ObjectMap>",
       "bytes long; at most 16777216 are read"},
  };

  ObjectMap map;
  map.Add("Kept", Value("yes"));
  for (const Refusal& refusal : refusals) {
    const Error error = FailureOf([&] { map.SetXml(refusal.text); });
    const std::string shown = refusal.text.substr(0, 80);
    EXPECT_EQ(error.Number(), kLibraryError) << shown;
    EXPECT_EQ(error.Description().rfind("ObjectMap.XML(Let): ", 0), 0u) << error.Description();
    EXPECT_NE(error.Description().find(refusal.cause), std::string::npos) << error.Description();
    EXPECT_LT(error.Description().size(), 400u) << "the cause, not the text";
    ASSERT_EQ(map.Count(), 1) << shown;
    EXPECT_EQ(map.Item("Kept").ToText(), "yes");
  }

  // The deepest nesting allowed still reads.
  std::string open, close;
  for (int i = 0; i < ObjectMap::kMaxDepth; ++i) {
    open += "<m type=\"Map\">";
    close += "</m>";
  }
  map.SetXml("<ObjectMap>" + open + "<leaf>x</leaf>" + close + "</ObjectMap>");
  EXPECT_EQ(map.Count(), 1);
}

TEST(ObjectMap, TruncatedAndMangledTextsAreRefusedNeverCrash) {
  auto nested = std::make_shared<ObjectMap>();
  nested->Add("Disk", Value("C:"));
  ObjectMap source;
  source.Add("RequestType", Value("Remove"));
  source.Add("Raw", Value("\xFF bytes"));
  source.Add("My Key", Value(int32_t{7}));
  source.Add("KeyData", Map(nested));
  const std::string xml = source.Xml();

  for (size_t length = 0; length < xml.size(); ++length) {
    ObjectMap map;
    const Error error = FailureOf([&] { map.SetXml(xml.substr(0, length)); });
    EXPECT_EQ(error.Description().rfind("ObjectMap.XML(Let): ", 0), 0u) << length;
  }

  // Each mangled text either reads or is refused with the map's error; nothing else.
  uint32_t seed = 12345;
  auto next = [&] { return seed = seed * 1103515245u + 12345u; };
  int refused = 0;
  for (int round = 0; round < 2000; ++round) {
    std::string mangled = xml;
    for (int flips = 1 + next() % 3; flips > 0; --flips) mangled[next() % mangled.size()] = static_cast<char>(next() >> 16);
    ObjectMap map;
    try {
      map.SetXml(mangled);
    } catch (const Error& e) {
      ++refused;
      EXPECT_EQ(e.Description().rfind("ObjectMap.XML(Let): ", 0), 0u) << e.Description();
    }
  }
  EXPECT_GT(refused, 1000);
}

// A value without a text form: an object of another class.
class Gadget final : public Dispatchable<Gadget> {
 public:
  static constexpr std::string_view kClassId = "Test.Gadget";
  std::string_view ClassId() const noexcept override { return kClassId; }
  static const DispatchTable<Gadget>& Dispatch() {
    static const DispatchTable<Gadget> table;
    return table;
  }
};

TEST(ObjectMap, RefusesToWriteValuesWithoutATextForm) {
  ObjectMap map;
  map.Add("Form", Value(ObjectRef(std::make_shared<Gadget>())));
  Error error = FailureOf([&] { map.Xml(); });
  EXPECT_EQ(error.Number(), kLibraryError);
  EXPECT_EQ(error.Description(), "ObjectMap.XML(Get): the item 'Form' holds an object of class Gadget, which has no text form");

  ObjectMap outOfRange;
  outOfRange.Add("When", Value(OleDate(1e9)));
  EXPECT_NE(FailureOf([&] { outOfRange.Xml(); }).Description().find("holds a date outside the range"),
            std::string::npos);

  auto loop = std::make_shared<ObjectMap>();
  loop->Add("Self", Map(loop));
  EXPECT_EQ(FailureOf([&] { loop->Xml(); }).Description(), "ObjectMap.XML(Get): maps are nested deeper than 64 levels");
  loop->Clear();  // break the cycle
}

TEST(ObjectMap, ThreadsReadAtTheSameTime) {
  ObjectMap source;
  for (int i = 0; i < 50; ++i) source.Add("Item" + std::to_string(i), Value("value & " + std::to_string(i)));
  const std::string xml = source.Xml();
  std::vector<std::thread> threads;
  std::vector<int> failures(4, 0);
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      for (int round = 0; round < 100; ++round) {
        ObjectMap map;
        map.SetXml(xml);
        if (map.Count() != 50 || map.Item("Item49").ToText() != "value & 49") ++failures[t];
        try {
          map.SetXml("<ObjectMap><broken></ObjectMap>");
          ++failures[t];
        } catch (const Error&) {
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(failures, std::vector<int>(4, 0));
}

}  // namespace
}  // namespace korad
