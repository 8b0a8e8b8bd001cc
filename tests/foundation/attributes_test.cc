// Attributes in front of a parent with standard properties, as a form's attributes are.
#include <gtest/gtest.h>

#include "foundation/attributes.h"
#include "support/fake_environment.h"
#include "support/recording_log.h"

namespace korad {
namespace {

// A parent with the typed properties a form has.
class FakeForm final : public Dispatchable<FakeForm> {
 public:
  static constexpr std::string_view kClassId = "Test.FakeForm";
  std::string_view ClassId() const noexcept override { return kClassId; }
  static const DispatchTable<FakeForm>& Dispatch() {
    static const DispatchTable<FakeForm> table = [] {
      DispatchTable<FakeForm> t;
      t.Property("Resource", [](FakeForm& f) { return Value(f.resource); },
                 [](FakeForm& f, const Value& v) { f.resource = v.ToText(); });
      t.Property("AlertStatus", [](FakeForm& f) { return Value(f.alertStatus); },
                 [](FakeForm& f, const Value& v) { f.alertStatus = v.ToLong(); });
      t.Property("Priority", [](FakeForm& f) { return Value(f.priority); },
                 [](FakeForm& f, const Value& v) { f.priority = v.ToInteger(); });
      return t;
    }();
    return table;
  }
  std::string resource;
  int32_t alertStatus = 1;
  int16_t priority = 0;
};

struct FormWithAttributes {
  FormWithAttributes() {
    attributes->SetParent(form);
    attributes->SetParentStandardAttributes({"RESOURCE", "ALERTSTATUS", "PRIORITY"});
  }
  ~FormWithAttributes() { attributes->SetParent(nullptr); }
  std::shared_ptr<FakeForm> form = std::make_shared<FakeForm>();
  AttributesRef attributes = std::make_shared<Attributes>();
};

std::string DescriptionOf(const std::function<void()>& call) {
  try {
    call();
  } catch (const Error& e) {
    return e.Description();
  }
  return "(no error)";
}

TEST(Attributes, StandardNamesGoToTheParentAndAlertStatusIsTranslated) {
  FormWithAttributes f;
  EXPECT_EQ(f.attributes->Add("AlertStatus", Value("off")), nullptr);
  EXPECT_EQ(f.form->alertStatus, 0);
  f.attributes->Add(" AlertStatus ", Value("whatever"));  // unknown reads as once
  EXPECT_EQ(f.form->alertStatus, 2);
  // Inner blanks still find the standard name, but the status is translated only for the
  // key as trimmed, so the text reaches the typed property untranslated.
  EXPECT_EQ(DescriptionOf([&] { f.attributes->Add("alert status", Value("on")); }),
            "Attributes.Add: Could not set the 'alert status' attribute (Error: Type mismatch). Please check the "
            "type of this attribute and make sure it matches the type of the value you are attempting to set.");
  f.attributes->Add("Resource", Value("disk C"));
  EXPECT_EQ(f.form->resource, "disk C");
  EXPECT_EQ(f.attributes->Count(), 0) << "standard names never live in the container";

  EXPECT_TRUE(f.attributes->Exists("Resource")) << "a standard name always exists";
  EXPECT_TRUE(f.attributes->Exists("resource", Value("disk C")));
  EXPECT_FALSE(f.attributes->Exists("resource", Value("DISK C"))) << "exact, case-sensitive";
  EXPECT_TRUE(f.attributes->BeginsWith("Resource", "DISK"));
  EXPECT_TRUE(f.attributes->InSet("Resource", "x, disk c ,y"));

  AttributeRef copy = f.attributes->Item(Value("Resource"));
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(copy->Key(), "Resource");
  EXPECT_EQ(copy->Value().ToText(), "disk C");
  copy->SetValue(Value("changed"));
  EXPECT_EQ(f.form->resource, "disk C") << "the detached copy changes nothing on the parent";

  EXPECT_EQ(DescriptionOf([&] { f.attributes->Add("Priority", Value("high")); }),
            "Attributes.Add: Could not set the 'Priority' attribute (Error: Type mismatch). Please check the type "
            "of this attribute and make sure it matches the type of the value you are attempting to set.");
}

TEST(Attributes, StandardNamesWithoutAParentFail) {
  Attributes attributes;
  attributes.SetParentStandardAttributes({"RESOURCE"});
  attributes.SetParentStandardAttributes({"OTHER"});  // the first list stays
  EXPECT_EQ(DescriptionOf([&] { attributes.Add("Resource", Value("x")); }),
            "Attributes.Add: This attribute has no parent!  Please set the parent before using standard attributes.");
  EXPECT_EQ(DescriptionOf([&] { attributes.Item(Value("resource")); }),
            "Attributes.Item: Could Not Find The 'resource' Attribute.  Please Verify That This Attribute Exists.");
  EXPECT_FALSE(attributes.InStandardAttributes("Other"));
}

TEST(Attributes, CustomAttributesAcrossUpdates) {
  FormWithAttributes f;
  Attributes& a = *f.attributes;

  AttributeRef mine = a.Add("My Key", Value(int32_t{1}));
  ASSERT_NE(mine, nullptr);
  EXPECT_EQ(mine->Key(), "MyKey");
  EXPECT_EQ(mine->Value().TypeName(), "String");
  EXPECT_EQ(mine->Value().ToText(), "1");
  EXPECT_TRUE(a.UpdateOccurred()) << "every new custom attribute is an update";
  EXPECT_TRUE(a.Exists("my key"));
  EXPECT_EQ(DescriptionOf([&] { a.Item(Value("my key")); }),
            "Attributes.Item: Could Not Find The 'my key' Attribute.  Please Verify That This Attribute Exists.")
      << "lookup by string doesn't normalise";
  EXPECT_EQ(a.Item(Value("MYKEY")), mine);

  a.SetUpdateOccurred(false);
  EXPECT_EQ(a.Add("MyKey", Value("1")), mine) << "an existing key gives back the existing attribute";
  EXPECT_FALSE(a.UpdateOccurred()) << "equal value";
  a.Add("MyKey", Value("2"));
  EXPECT_EQ(mine->Value().ToText(), "2");
  EXPECT_FALSE(a.UpdateOccurred()) << "changed, but not relevant to updates";
  mine->SetRelevantToUpdates(true);
  a.Add("MyKey", Value("3"));
  EXPECT_TRUE(a.UpdateOccurred());

  EXPECT_EQ(DescriptionOf([&] { mine->SetKey("Other"); }),
            "Attribute.Key(Let): Attribute Key Already Set. Cannot Set An Attribute Key More Than Once");
}

TEST(Attributes, SubstitutionsApplyFromTheSecondAssignmentOn) {
  testing::ScopedEnvironment environment;
  environment->variables["KORAD_ATTR_TEST"] = "expanded";
  Attributes a;
  AttributeRef attr = a.Add("Path", Value("[?mvEnvVar.KORAD_ATTR_TEST]"));
  EXPECT_EQ(attr->Value().ToText(), "expanded") << "Add expands environment variables";
  auto fresh = std::make_shared<Attribute>();
  fresh->SetValue(Value("[?mvEnvVar.KORAD_ATTR_TEST]"));
  EXPECT_EQ(fresh->Value().ToText(), "[?mvEnvVar.KORAD_ATTR_TEST]") << "a first assignment isn't substituted";
  fresh->SetValue(Value("[?mvEnvVar.KORAD_ATTR_TEST]"));
  EXPECT_EQ(fresh->Value().ToText(), "expanded");
}

TEST(Attributes, RemoveAndItemDispatchOnTheIndexKind) {
  Attributes a;
  a.Add("One", Value("1"));
  a.Add("Two", Value("2"));
  a.Add("Three", Value("3"));

  EXPECT_EQ(a.Item(Value(int16_t{2}))->Key(), "Two");
  EXPECT_EQ(DescriptionOf([&] { a.Item(Value(int32_t{4})); }),
            "Attributes.Item: Index is greater than the number of custom attributes");
  EXPECT_NE(DescriptionOf([&] { a.Item(Value(int32_t{0})); }), "(no error)") << "0 passes the bound test, fails in the list";
  EXPECT_EQ(DescriptionOf([&] { a.Item(Value(true)); }),
            "Attributes.Item: Could not identify the type of the Index parameter");

  a.SetUpdateOccurred(false);
  a.Remove(Value(OleDate(1.0)));
  a.Remove(Value(true));
  EXPECT_EQ(a.Count(), 3) << "a Date or Boolean index does nothing";
  EXPECT_FALSE(a.UpdateOccurred());
  EXPECT_EQ(DescriptionOf([&] { a.Remove(Value(5.0)); }), "Attributes.Remove: Index is greater than count of attributes");
  EXPECT_EQ(DescriptionOf([&] { a.Remove(Value("Four")); }),
            "Attributes.Remove: Could Not Find The 'Four' Attribute.  Please Verify That This Attribute Exists.");
  a.Remove(Value("two"));
  a.Remove(Value(int32_t{1}));
  EXPECT_TRUE(a.UpdateOccurred());
  ASSERT_EQ(a.Count(), 1);
  EXPECT_EQ(a.Item(Value(int32_t{1}))->Key(), "Three");
  a.RemoveAll();
  EXPECT_EQ(a.Count(), 0);
}

TEST(Attributes, InSetIsASubstringTestAroundCommas) {
  Attributes a;
  a.Add("V", Value("A"));
  EXPECT_TRUE(a.InSet("V", "A"));
  EXPECT_FALSE(a.InSet("V", "BA"));
  EXPECT_TRUE(a.InSet("V", "BA,C")) << "A followed by a comma occurs in BA,C";
  a.Add("W", Value("ab"));
  EXPECT_TRUE(a.InSet("W", "CAB,D"));
  EXPECT_TRUE(a.InSet("W", "x , AB"));
  EXPECT_FALSE(a.InSet("W", "x  ,  y"));
  EXPECT_TRUE(a.BeginsWith("W", ""));
  EXPECT_FALSE(a.BeginsWith("Missing", ""));
}

TEST(Attributes, WithALogManagerFailuresAreLoggedNotRaised) {
  auto log = std::make_shared<testing::RecordingLogManager>();
  Attributes a;
  a.SetLogManager(log);
  a.Add("K", Value("v"));
  EXPECT_EQ(a.Item(Value("missing")), nullptr);
  ASSERT_EQ(log->Lines().size(), 1u);
  EXPECT_EQ(log->Lines()[0].category, "DevSvcErr");
  EXPECT_EQ(log->Lines()[0].level, logLevelError);
}

}  // namespace
}  // namespace korad
