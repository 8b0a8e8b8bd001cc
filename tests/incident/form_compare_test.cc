// When two reports are the same incident, and when a form has changed since it was sent.
#include <gtest/gtest.h>

#include "forms_fixture.h"
#include "platform/encrypter.h"

namespace korad {
namespace {

using testing::FormsFixture;

class FormCompare : public FormsFixture {
 protected:
  IncidentFormRef Form(std::string_view resource, std::vector<Value> attributes) {
    return Report(resource, "Full", AlertOn, std::move(attributes));
  }
  bool Same(const IncidentFormRef& a, const IncidentFormRef& b) { return forms->CompareForms(a, b); }
};

TEST_F(FormCompare, ResourceAndConditionIgnoreCaseAndAFormWithoutKeysComparesByThemAlone) {
  IncidentFormRef a = Form("srv1", {Value("Drive:=C")});
  IncidentFormRef b = Form("SRV1", {Value("Drive:=D")});
  IncidentFormRef other = Form("srv2", {});
  EXPECT_TRUE(Same(a, b));
  EXPECT_FALSE(Same(a, other));
  b->SetCondition("FULL");
  EXPECT_TRUE(Same(a, b));
  b->SetCondition("Fuller");
  EXPECT_FALSE(Same(a, b));
  EXPECT_FALSE(Same(a, nullptr));
  a->SetAlertStatus(5);
  EXPECT_FALSE(Same(a, a)) << "a merged form equals nothing, not even itself";
}

TEST_F(FormCompare, KeyAttributesMayBeNamedInAnyOrderButMustBeTheSameSet) {
  IncidentFormRef ab = Form("srv1", {Value("KeyAttributes:=Drive, Path"), Value("Drive:=C"), Value("Path:=/var")});
  IncidentFormRef ba = Form("srv1", {Value("KeyAttributes:=path,DRIVE"), Value("Drive:=c"), Value("Path:=/VAR")});
  IncidentFormRef a = Form("srv1", {Value("KeyAttributes:=Drive"), Value("Drive:=C"), Value("Path:=/var")});
  IncidentFormRef none = Form("srv1", {Value("Drive:=C"), Value("Path:=/var")});
  IncidentFormRef otherPath = Form("srv1", {Value("KeyAttributes:=Path,Drive"), Value("Drive:=C"), Value("Path:=/tmp")});

  EXPECT_EQ(ab->KeyAttributes(), "Drive,Path");
  EXPECT_TRUE(Same(ab, ba)) << "values compare without regard to case";
  EXPECT_TRUE(Same(ba, ab));
  EXPECT_FALSE(Same(a, ab)) << "the other form names a key this one doesn't";
  EXPECT_FALSE(Same(ab, a));
  EXPECT_FALSE(Same(none, a));
  EXPECT_FALSE(Same(ab, otherPath));

  IncidentFormRef without = Form("srv1", {Value("KeyAttributes:=Drive")});
  EXPECT_FALSE(Same(a, without)) << "a key attribute missing on one form separates them";
  EXPECT_FALSE(Same(without, a));
}

TEST_F(FormCompare, StandardNamesAsKeyAttributesAreReadFromTheFormsProperties) {
  IncidentFormRef a = Form("srv1", {Value("KeyAttributes:=Priority,ConfigMoniker"), Value("Priority:=3")});
  IncidentFormRef b = Form("srv1", {Value("KeyAttributes:=ConfigMoniker,Priority"), Value("Priority:=3")});
  EXPECT_TRUE(Same(a, b));
  b->SetPriority(4);
  EXPECT_FALSE(Same(a, b));
  b->SetPriority(3);
  b->SetConfigMoniker("Other");
  EXPECT_FALSE(Same(a, b));
  EXPECT_TRUE(log->Matching("", "DevSvcErr").empty());
}

class FormCRC : public FormsFixture {
 protected:
  int32_t CrcOf(const IncidentFormRef& form) {
    forms->CalculateFormCRC(form);
    return form->PropertiesCRC();
  }
};

TEST_F(FormCRC, TheSumOfAttributesAndPriorityIgnoringOrderTimesAndIdentity) {
  IncidentFormRef a = Report("srv1", "Full", AlertOn, {Value("Drive:=D"), Value("Used:=10")});
  IncidentFormRef b = Report("SRV-other", "Else", AlertOff, {Value("USED:=10"), Value("drive:=d")});
  // Chosen so that the sum stays within 32 bits (see the overflow case below).
  const int32_t crc = CrcOf(a);
  EXPECT_EQ(crc, CrcOf(b)) << "order, case, resource, condition, status and time don't count";
  EXPECT_NE(crc, 0);
  EXPECT_EQ(static_cast<int64_t>(crc),
            static_cast<int64_t>(Crc32Signed("drived")) + Crc32Signed("used10") + Crc32Signed("priority0"));
  a->SetPriority(-1);
  EXPECT_NE(CrcOf(a), crc);
  EXPECT_EQ(static_cast<int64_t>(a->PropertiesCRC()),
            static_cast<int64_t>(Crc32Signed("drived")) + Crc32Signed("used10") + Crc32Signed("priority-1"));
  EXPECT_EQ(Texts("CalculateFormCRC").back(), "CalculateFormCRC (srv1:Full) CRC set to " + std::to_string(a->PropertiesCRC()));
  EXPECT_EQ(log->Matching("CalculateFormCRC (srv1:Full) Partial CRC for drived = " + std::to_string(Crc32Signed("drived")))
                .size(),
            2u);
}

TEST_F(FormCRC, AcknowledgementsCountOnlyWhenAckIsTrue) {
  IncidentFormRef plain = Report("srv1", "Full", AlertOn, {Value("Drive:=D")});
  IncidentFormRef acked = Report("srv1", "Full", AlertOn,
                                 {Value("Drive:=D"), Value("AckUser:=bob"), Value("AckTimeUniversal:=2024-01-15T12:00:00Z")});
  EXPECT_EQ(CrcOf(plain), CrcOf(acked)) << "without Ack the companions don't count";
  acked->GetAttributes()->Add("Ack", Value("false"));
  EXPECT_EQ(CrcOf(plain), CrcOf(acked));
  EXPECT_EQ(log->Matching("CalculateFormCRC (srv1:Full) Partial CRC for ackuserbob = 0").size(), 2u);

  acked->GetAttributes()->Add("Ack", Value("true"));
  EXPECT_NE(CrcOf(plain), CrcOf(acked));
  EXPECT_EQ(log->Matching("CalculateFormCRC (srv1:Full) ACK = TRUE found, Ack variables will count", "CalculateFormCRC")
                .size(),
            1u);
  const int64_t expected = static_cast<int64_t>(plain->PropertiesCRC()) + Crc32Signed("acktrue") +
                           Crc32Signed("ackuserbob") + Crc32Signed("acktimeuniversal2024-01-15t12:00:00z");
  EXPECT_EQ(static_cast<int64_t>(acked->PropertiesCRC()), expected);
}

TEST_F(FormCRC, AnOverflowingSumIsAnErrorAndLeavesTheOldCRC) {
  // Two attributes whose CRCs are both large and positive add up past 32 bits.
  std::vector<Value> attributes;
  for (int i = 0; attributes.size() < 2; ++i) {
    const std::string value = std::to_string(i);
    if (Crc32Signed("k" + std::to_string(attributes.size()) + value) > 1'100'000'000) {
      attributes.emplace_back("K" + std::to_string(attributes.size()) + ":=" + value);
    }
  }
  IncidentFormRef form = Report("srv1", "Full", AlertOn, attributes);
  form->SetPropertiesCRC(77);
  forms->CalculateFormCRC(form);
  EXPECT_EQ(form->PropertiesCRC(), 77);
  EXPECT_EQ(Texts("DevSvcErr"), std::vector<std::string>{"IncidentForms.CalculateFormCRC: Overflow"});
}

}  // namespace
}  // namespace korad
