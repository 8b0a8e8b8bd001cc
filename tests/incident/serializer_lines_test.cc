// What the two serializers make of lines their formats allow: the state file reads only
// the universal text as a date, and lines that are normal in a format are traced, not
// reported as damage.
#include <gtest/gtest.h>

#include "incident/inc_form_serialize.h"
#include "incident/incident_forms.h"
#include "incident/incident_state.h"
#include "incident/serializer_fixture.h"
#include "incident/xml_serializer.h"

namespace korad {
namespace {

class SerializerLinesTest : public testing::SerializerTest {
 protected:
  size_t Errors() const {
    size_t errors = 0;
    for (const testing::LogLine& line : m_log->Lines()) errors += line.level <= logLevelError ? 1 : 0;
    return errors;
  }
  bool Traced(std::string_view fragment) const {
    for (const testing::LogLine& line : m_log->Matching(fragment)) {
      if (line.level == logLevelDebug) return true;
    }
    return false;
  }
};

TEST_F(SerializerLinesTest, AStateFileTakesOnlyUniversalTextAsADateAndTracesLinesWithoutAMoniker) {
  // A line without a moniker and a last line without its end are both normal here.
  testing::WriteWholeFile(SerializePath("Mon.SER"),
                          "CPU1-NOTE=2024-03-05 10:30:00\r\n"
                          "CPU1-SEENUTC=2024-03-05T08:30:00Z\r\n"
                          "NOMONIKER=1\r\n"
                          "CPU1-LAST=x");
  XMLSerializer serializer;
  auto state = std::make_shared<IncidentState>();
  state->SetLogManager(m_log);
  serializer.Load(state, "Mon");

  EXPECT_EQ(state->Dictionary().Keys(),
            (std::vector<std::string>{"CPU1-NOTE", "CPU1-SEENUTC", "CPU1-SEEN", "CPU1-LAST"}));
  state->SetConfigMoniker("CPU1");
  EXPECT_EQ(state->Item("Note"), Value("2024-03-05 10:30:00"));  // plain text, no twin
  EXPECT_TRUE(testing::IsDateAt(state->Item("Seen"), At(10)));
  EXPECT_EQ(state->Item("Last"), Value("x"));
  EXPECT_EQ(Errors(), 0u);
  EXPECT_TRUE(Traced("has no line end"));
}

TEST_F(SerializerLinesTest, AFormFileWhoseLastLineHasNoEndIsTraced) {
  testing::WriteWholeFile(SerializePath("IFMon.SER"),
                          "[IncidentForm]\r\nResource=Web\r\nCondition=Down\r\nConfigMoniker=HTTP\r\n"
                          "OccurrenceTime=2024-01-15 09:30:00\r\n[/IncidentForm]");
  IncFormSerialize serializer;
  auto forms = std::make_shared<IncidentForms>();
  forms->SetLogManager(m_log);
  serializer.Load(forms, "Mon");
  ASSERT_EQ(forms->AllForms().size(), 1u);
  EXPECT_EQ(Errors(), 0u);
  EXPECT_TRUE(Traced("has no line end"));
}

}  // namespace
}  // namespace korad
