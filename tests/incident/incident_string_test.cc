// The incident string: written from a form by CreateIncidentObject, read back into a form
// by CreateFormFromString, in both of its text forms.
#include <gtest/gtest.h>

#include "forms_fixture.h"
#include "incident/incident_object_builder.h"
#include "platform/date_time_converter.h"

namespace korad {
namespace {

using testing::FormsFixture;
using testing::RaisedDescription;

using Pairs = std::vector<std::pair<std::string, std::string>>;

Pairs AttributesOf(const IncidentFormRef& form) {
  Pairs pairs;
  for (const AttributeRef& attribute : *form->GetAttributes()) {
    pairs.emplace_back(attribute->Key(), attribute->Value().ToText());
  }
  return pairs;
}

class IncidentString : public FormsFixture {
 protected:
  IncidentFormRef Original() {
    return Report("srv 1", "DiskFull", AlertOnce,
                  {Value("Priority:=-3"), Value("Expr:=a=b"), Value("Markup:=<b>x</b> & &amp;"),
                   Value("Greeting:=Gr\xC3\xBC\xC3\x9F" "e"), Value("Latin1:=caf\xE9"), Value("Inner:=a  b")});
  }

  // Reads `text` into a new form of the collection and hands it back.
  IncidentFormRef ReadBack(const std::string& text) {
    const int32_t before = forms->Count();
    EXPECT_TRUE(forms->CreateFormFromString(text, "srv1")) << text;
    EXPECT_EQ(forms->Count(), before + 1);
    return forms->Item(forms->Count());
  }

  void ExpectSameIncident(const IncidentFormRef& original, const IncidentFormRef& read) {
    EXPECT_EQ(read->Resource(), original->Resource());
    EXPECT_EQ(read->Condition(), original->Condition());
    EXPECT_EQ(read->Priority(), original->Priority());
    Pairs expected{{"OccurrenceUniversal", DateTimeConverter::ToUniversalText(original->OccurrenceTimeUTC())}};
    for (const auto& pair : AttributesOf(original)) expected.push_back(pair);
    EXPECT_EQ(AttributesOf(read), expected);
    EXPECT_EQ(read->ConfigMoniker(), "DiskSpace");
    EXPECT_FALSE(read->UpdateOccurred());
  }
};

TEST_F(IncidentString, BothFormsGiveBackTheSameIncident) {
  IncidentFormRef original = Original();
  const IncidentObject incident = CreateIncidentObject(*original, 0, "", "");
  // Line ends carry no meaning in the object map form.
  std::string wrapped;
  for (char c : incident.Text()) {
    wrapped += c;
    if (c == '>') wrapped += "\r\n";
  }
  ExpectSameIncident(original, ReadBack(wrapped));
  const std::string text = incident.TextForm();
  EXPECT_EQ(text.substr(0, 53), "[Incident]\r\nClass=DiskFull\r\nOccurrenceUniversal=2024-");
  ExpectSameIncident(original, ReadBack(text));
  EXPECT_TRUE(Texts("DevSvcErr").empty());
}

TEST_F(IncidentString, TheTextFormSkipsCommentsAndReadsKeysWithoutValues) {
  IncidentFormRef read = ReadBack(
      "[incident]  \r\n"
      " source = srv9 \r\n"
      "CLASS=Down\r\n"
      ";Note=not an attribute\r\n"
      "Flag\r\n"
      "Priority=2\r\n"
      "AlertStatus=off\r\n");
  EXPECT_EQ(read->Resource(), "srv9");
  EXPECT_EQ(read->Condition(), "Down");
  EXPECT_EQ(read->Priority(), 2);
  EXPECT_EQ(read->AlertStatus(), AlertOff) << "a standard name goes to the property";
  EXPECT_EQ(AttributesOf(read), (Pairs{{"Flag", ""}}));
}

TEST_F(IncidentString, AStringThatCanNotBeReadAddsNothing) {
  EXPECT_FALSE(forms->CreateFormFromString("   ", "srv1"));
  EXPECT_TRUE(log->Lines().empty());

  EXPECT_FALSE(forms->CreateFormFromString("[Incident]\r\nSource=srv1\r\nClass=Down", "srv1"));
  EXPECT_FALSE(forms->CreateFormFromString("<ObjectMap><Source>srv1", "srv2"));
  EXPECT_EQ(forms->Count(), 0);
  const std::vector<std::string> errors = Texts("DevSvcErr");
  ASSERT_EQ(errors.size(), 2u);
  EXPECT_EQ(errors[0], "IncidentForms.CreateFormFromString(srv1): Invalid procedure call or argument")
      << "the text must end with a line end";
  EXPECT_EQ(errors[1].rfind("IncidentForms.CreateFormFromString(srv2): ObjectMap.XML(Let): ", 0), 0u) << errors[1];
  EXPECT_EQ(log->CountAtLevel(logLevelError), 2u);

  IncidentForms bare;
  EXPECT_EQ(RaisedDescription([&] { bare.CreateFormFromString("[Incident]\r\nx=1", "srv3"); }, kErrInvalidCall),
            "IncidentForms.CreateFormFromString(srv3): Invalid procedure call or argument");
}

TEST_F(IncidentString, TheClassTellsAResolveOrAnUpdateUnlessTheConfigurationOverridesIt) {
  IncidentFormRef form = Report("srv1", "Down", AlertOff);
  const auto classOf = [&](int32_t mode, std::string_view updated, std::string_view resolved) {
    return CreateIncidentObject(*form, mode, updated, resolved).Item("Class").ToText();
  };
  EXPECT_EQ(classOf(0, "Changed", "Fixed"), "Down(Resolved)");
  EXPECT_EQ(classOf(1, "Changed", "Fixed"), "Fixed");
  EXPECT_EQ(classOf(1, "Changed", ""), "Down(Resolved)");
  form->SetAlertStatus(AlertOffPending);
  EXPECT_EQ(classOf(2, "", "Fixed"), "Fixed");

  form->SetAlertStatus(AlertOn);
  EXPECT_EQ(classOf(1, "Changed", "Fixed"), "Down");
  form->SetPriority(2);
  EXPECT_EQ(classOf(0, "Changed", "Fixed"), "Down(Updated)");
  EXPECT_EQ(classOf(1, "Changed", "Fixed"), "Changed");

  form->SetAlertStatus(AlertOnce);
  EXPECT_EQ(classOf(0, "", ""), "Down") << "AlertOnce reads the mark a merge gives, not the update flag";
  form->SetOnceUpdateOccurred(true);
  EXPECT_EQ(classOf(1, "Changed", ""), "Changed");

  form->SetPriority(0);
  IncidentObject incident = CreateIncidentObject(*form, 0, "", "");
  EXPECT_TRUE(incident.Item("Priority").IsEmpty()) << "a priority of 0 is left out";
  EXPECT_EQ(incident.Map().Key(0), "Class");
  EXPECT_EQ(incident.Map().Key(1), "OccurrenceUniversal");
  EXPECT_EQ(incident.Map().Key(2), "Source");
  EXPECT_EQ(incident.Item("OccurrenceUniversal").ToText(), "2024-01-15T12:01:00Z");
}

}  // namespace
}  // namespace korad
