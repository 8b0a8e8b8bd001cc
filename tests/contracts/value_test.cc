// Value conversions with the host's rules, as tables of what callers feed them.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "contracts/object.h"
#include "contracts/value.h"
#include "support/error_number.h"

namespace korad {
namespace {

using testing::NumberOf;

OleDate Civil(int y, int mo, int d, int h = 0, int mi = 0, int s = 0, int ms = 0) {
  return *OleDate::FromCivil(y, mo, d, h, mi, s, ms);
}

class Widget final : public Object {
 public:
  std::string_view ClassId() const noexcept override { return "Test.Widget"; }
};

TEST(ValueRounding, IntegerConversionsRoundHalfToEven) {
  struct Case {
    double in;
    int32_t out;
  };
  const Case cases[] = {{0.5, 0},   {1.5, 2},   {2.5, 2},      {3.5, 4},     {-0.5, 0},
                        {-1.5, -2}, {-2.5, -2}, {2.4999, 2},   {2.5001, 3},  {-2.5001, -3},
                        {7.0, 7},   {-7.0, -7}, {32766.5, 32766}, {-32767.5, -32768}};
  for (const Case& c : cases) {
    EXPECT_EQ(Value(c.in).ToLong(), c.out) << c.in;
    EXPECT_EQ(Value(c.in).ToInteger(), c.out) << c.in;
    EXPECT_EQ(RoundHalfEven(c.in), c.out) << c.in;
  }
  // Texts and Singles go through the same rounding.
  EXPECT_EQ(Value("2.5").ToLong(), 2);
  EXPECT_EQ(Value(" 3.5 ").ToInteger(), 4);
  EXPECT_EQ(Value(2.5f).ToLong(), 2);
  EXPECT_EQ(Value(OleDate(45000.5)).ToLong(), 45000);
}

TEST(ValueRounding, OverflowAtTheBoundsOfIntegerAndLong) {
  struct Case {
    double in;
    bool integerFits;
    bool longFits;
  };
  const Case cases[] = {
      {32767.0, true, true},           {32767.5, false, true},  // rounds to 32768
      {-32768.0, true, true},          {-32768.5, true, true},  // rounds to -32768
      {-32769.0, false, true},         {2147483647.0, false, true},
      {2147483647.5, false, false},    {-2147483648.0, false, true},
      {-2147483648.5, false, true},    {-2147483649.0, false, false},
      {1e300, false, false},           {NAN, false, false},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(NumberOf([&] { Value(c.in).ToInteger(); }), c.integerFits ? 0 : kErrOverflow) << c.in;
    EXPECT_EQ(NumberOf([&] { Value(c.in).ToLong(); }), c.longFits ? 0 : kErrOverflow) << c.in;
  }
  EXPECT_EQ(NumberOf([] { Value("40000").ToInteger(); }), kErrOverflow);
  EXPECT_EQ(NumberOf([] { Value(1e39).ToSingle(); }), kErrOverflow);
  EXPECT_EQ(Value(int32_t{-5}).ToInteger(), -5);
  EXPECT_EQ(NumberOf([] { Value(int32_t{40000}).ToInteger(); }), kErrOverflow);
}

TEST(ValueText, NumbersInText) {
  struct Case {
    const char* text;
    std::optional<double> number;
  };
  const Case cases[] = {
      {"1.5e3", 1500.0},     {"1.5E+3", 1500.0},  {"2D-1", 0.2},         {" 12 ", 12.0},
      {"\t42\r\n", 42.0},    {"-3.25", -3.25},    {"+7", 7.0},           {".5", 0.5},
      {"5.", 5.0},           {"007", 7.0},        {"&H1F", 31.0},        {"&hff", 255.0},
      {" &H7FFF ", 32767.0}, {"&HFFFF", -1.0},    {"&H10000", 65536.0},  {"&HFFFFFFFF", -1.0},
      {"&O17", 15.0},        {"1e-400", 0.0},     {"", std::nullopt},    {"   ", std::nullopt},
      {"12abc", std::nullopt}, {" 12abc", std::nullopt}, {"1e", std::nullopt},
      {".", std::nullopt},   {"--1", std::nullopt}, {"1.2.3", std::nullopt},
      {"1,000", std::nullopt}, {"$5", std::nullopt}, {"1 2", std::nullopt},
      {"&H", std::nullopt},  {"&HG", std::nullopt}, {"&H100000000", std::nullopt},
      {"&O8", std::nullopt}, {"1e400", std::nullopt}, {"True", std::nullopt},
      {"2026-03-05", std::nullopt},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(ParseNumber(c.text), c.number) << '"' << c.text << '"';
    EXPECT_EQ(IsNumeric(Value(c.text)), c.number.has_value()) << '"' << c.text << '"';
    if (c.number) {
      EXPECT_EQ(Value(c.text).ToDouble(), *c.number) << '"' << c.text << '"';
    }
  }
}

TEST(ValueText, LongNumbersInEveryNotation) {
  const std::string zeros(80, '0');
  EXPECT_EQ(ParseNumber("+" + zeros + "12.5D+1"), 125.0);
  EXPECT_EQ(ParseNumber(zeros + "12.5e-1"), 1.25);
  EXPECT_EQ(ParseNumber("0." + zeros + "1e82"), 10.0);
  EXPECT_EQ(LeadingNumber("-" + zeros + "7E+2 units"), -700.0);
}

TEST(ValueText, ConversionOfTextThatIsNoNumber) {
  EXPECT_EQ(NumberOf([] { Value(" 12abc").ToDouble(); }), kErrTypeMismatch);
  EXPECT_EQ(NumberOf([] { Value("").ToLong(); }), kErrTypeMismatch);
  EXPECT_EQ(NumberOf([] { Value("yes").ToBoolean(); }), kErrTypeMismatch);
  EXPECT_EQ(NumberOf([] { Value("1e400").ToDouble(); }), kErrOverflow);
  EXPECT_EQ(NumberOf([] { Value("&H100000000").ToDouble(); }), kErrOverflow);
}

TEST(ValueText, LeadingNumberReadsAsFarAsItGoes) {
  struct Case {
    const char* text;
    double number;
  };
  const Case cases[] = {
      {" 12abc", 12.0}, {"abc", 0.0},     {"", 0.0},       {"1e", 1.0},      {"1e5x", 1e5},
      {"-3.5kg", -3.5}, {"  +.5.", 0.5},  {"12 34", 12.0}, {"&H1FZ", 31.0},  {"&Hxyz", 0.0},
      {"1.5e3", 1500},  {"2e-2%", 0.02},  {"- 5", 0.0},    {"\t7\r\n", 7.0},
  };
  for (const Case& c : cases) EXPECT_EQ(LeadingNumber(c.text), c.number) << '"' << c.text << '"';
  EXPECT_EQ(LeadingNumber("9e999 apples"), std::numeric_limits<double>::max());
  EXPECT_EQ(LeadingNumber("-9e999"), -std::numeric_limits<double>::max());
  EXPECT_EQ(LeadingNumber("&H100000000"), std::numeric_limits<double>::max());
}

TEST(ValueText, DoublesPrintAsTheHostPrintsThem) {
  struct Case {
    double number;
    const char* text;
  };
  const Case cases[] = {
      {0.1 + 0.2, "0.3"},
      {1500.0, "1500"},
      {-2.5, "-2.5"},
      {-0.0, "0"},
      {1.0 / 3.0, "0.333333333333333"},
      {2.0 / 3.0, "0.666666666666667"},
      {999999999999999.0, "999999999999999"},
      {1e15, "1E+15"},
      {123456789012345678.0, "1.23456789012346E+17"},
      {0.0001, "0.0001"},
      {0.00012345, "0.00012345"},
      {0.00001, "1E-05"},
      {0.0000015, "1.5E-06"},
      {-1e-300, "-1E-300"},
      {45000.25, "45000.25"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(FormatDouble(c.number), c.text);
    EXPECT_EQ(Value(c.number).ToText(), c.text);
  }
  EXPECT_EQ(Value(0.1f).ToText(), "0.1");
  EXPECT_EQ(Value(1.0f / 3.0f).ToText(), "0.3333333");
  EXPECT_EQ(Value(int16_t{-32768}).ToText(), "-32768");
  EXPECT_EQ(Value(int32_t{2147483647}).ToText(), "2147483647");
  // The text reads back as the same number within its 15 digits.
  for (double x : {1.0 / 7.0, 6.02214076e23, -123.456, 1e-7}) {
    const double back = *ParseNumber(FormatDouble(x));
    EXPECT_NEAR(back, x, std::fabs(x) * 1e-14) << x;
  }
}

TEST(ValueBoolean, TrueIsMinusOneAndReadsAsText) {
  EXPECT_EQ(Value(true).ToDouble(), -1.0);
  EXPECT_EQ(Value(true).ToLong(), -1);
  EXPECT_EQ(Value(true).ToInteger(), -1);
  EXPECT_EQ(Value(false).ToLong(), 0);
  EXPECT_EQ(Value(true).ToText(), "True");
  EXPECT_EQ(Value(false).ToText(), "False");
  EXPECT_EQ(Value(true).ToDate(), OleDate(-1.0));

  struct Case {
    Value value;
    bool expected;
  };
  const Case cases[] = {{Value("true"), true},   {Value(" FALSE "), false}, {Value("0"), false},
                        {Value("2.5"), true},    {Value("-1"), true},       {Value(0.0), false},
                        {Value(0.25), true},     {Value(int16_t{0}), false}, {Value(), false},
                        {Value(OleDate(1.0)), true}};
  for (const Case& c : cases) EXPECT_EQ(c.value.ToBoolean(), c.expected) << c.value.TypeName();
}

TEST(ValueEmptyAndNull, EmptyReadsAsZeroAndNullRaises94) {
  const Value empty;
  EXPECT_EQ(empty.ToText(), "");
  EXPECT_EQ(empty.ToDouble(), 0.0);
  EXPECT_EQ(empty.ToLong(), 0);
  EXPECT_EQ(empty.ToInteger(), 0);
  EXPECT_FALSE(empty.ToBoolean());
  EXPECT_EQ(empty.ToDate(), OleDate(0.0));

  const Value null = Value::Null;
  EXPECT_TRUE(null.IsNull());
  const std::vector<std::function<void()>> conversions = {
      [&] { null.ToText(); },    [&] { null.ToDouble(); },  [&] { null.ToSingle(); },
      [&] { null.ToLong(); },    [&] { null.ToInteger(); }, [&] { null.ToBoolean(); },
      [&] { null.ToDate(); }};
  for (const auto& convert : conversions) EXPECT_EQ(NumberOf(convert), kErrInvalidUseOfNull);
  EXPECT_EQ(NumberOf([&] { null.ToObject(); }), kErrObjectRequired);
}

TEST(ValueObject, ObjectsConvertOnlyToObjects) {
  ObjectRef widget = std::make_shared<Widget>();
  const Value value(widget);
  EXPECT_EQ(value.ToObject(), widget);
  EXPECT_EQ(NumberOf([&] { value.ToText(); }), kErrTypeMismatch);
  EXPECT_EQ(NumberOf([&] { value.ToLong(); }), kErrTypeMismatch);
  EXPECT_EQ(NumberOf([&] { value.ToDate(); }), kErrTypeMismatch);
  EXPECT_EQ(NumberOf([] { Value(7).ToObject(); }), kErrObjectRequired);
  EXPECT_EQ(Value(ObjectRef()).ToObject(), nullptr) << "Nothing is an object reference";
  EXPECT_FALSE(IsNumeric(value));
  EXPECT_FALSE(IsDate(value));
}

TEST(ValueTypeName, EachKindNamesItself) {
  struct Case {
    Value value;
    const char* name;
    ValueKind kind;
  };
  const Case cases[] = {
      {Value(), "Empty", ValueKind::Empty},
      {Value::Null, "Null", ValueKind::Null},
      {Value(int16_t{1}), "Integer", ValueKind::Integer},
      {Value(1), "Long", ValueKind::Long},
      {Value(1.0f), "Single", ValueKind::Single},
      {Value(1.0), "Double", ValueKind::Double},
      {Value(true), "Boolean", ValueKind::Boolean},
      {Value(OleDate(1.0)), "Date", ValueKind::Date},
      {Value("x"), "String", ValueKind::String},
      {Value(std::string()), "String", ValueKind::String},
      {Value(ObjectRef()), "Nothing", ValueKind::Object},
      {Value(ObjectRef(std::make_shared<Widget>())), "Widget", ValueKind::Object},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(c.value.TypeName(), c.name);
    EXPECT_EQ(c.value.Kind(), c.kind) << c.name;
    const bool numberKind = c.kind == ValueKind::Integer || c.kind == ValueKind::Long ||
                            c.kind == ValueKind::Single || c.kind == ValueKind::Double;
    EXPECT_EQ(c.value.IsNumberKind(), numberKind) << c.name;
  }
}

TEST(ValueEquality, SameKindAndSameContent) {
  ObjectRef a = std::make_shared<Widget>();
  ObjectRef b = std::make_shared<Widget>();
  EXPECT_EQ(Value("a"), Value(std::string("a")));
  EXPECT_NE(Value("a"), Value("A"));
  EXPECT_NE(Value(1), Value(int16_t{1})) << "Long and Integer are different kinds";
  EXPECT_NE(Value(1), Value(1.0));
  EXPECT_NE(Value(), Value::Null);
  EXPECT_EQ(Value::Null, Value::Null);
  EXPECT_EQ(Value(), Value());
  EXPECT_EQ(Value(true), Value(true));
  EXPECT_NE(Value(true), Value(kTrue));
  EXPECT_EQ(Value(a), Value(a));
  EXPECT_NE(Value(a), Value(b));
  EXPECT_EQ(Value(OleDate(2.5)), Value(OleDate(2.5)));
}

TEST(ValueDates, RecognisedForms) {
  struct Case {
    const char* text;
    OleDate date;
  };
  const Case cases[] = {
      {"2026-03-05", Civil(2026, 3, 5)},
      {"  2026-03-05  ", Civil(2026, 3, 5)},
      {"2026-03-05 14:30:00", Civil(2026, 3, 5, 14, 30)},
      {"2026-03-05 14:30", Civil(2026, 3, 5, 14, 30)},
      {"2026-03-05T14:30:15Z", Civil(2026, 3, 5, 14, 30, 15)},
      {"2026-03-05T14:30:15", Civil(2026, 3, 5, 14, 30, 15)},
      {"2026-03-05T14:30:15.25Z", Civil(2026, 3, 5, 14, 30, 15, 250)},
      {"2026-03-05 14:30:15.1239", Civil(2026, 3, 5, 14, 30, 15, 123)},
      {"3/5/2026", Civil(2026, 3, 5)},
      {"03/05/2026 14:30:15", Civil(2026, 3, 5, 14, 30, 15)},
      {"3/5/2026 2:30 PM", Civil(2026, 3, 5, 14, 30)},
      {"3/5/2026 2:30:59 am", Civil(2026, 3, 5, 2, 30, 59)},
      {"12/31/2026 12:00 AM", Civil(2026, 12, 31)},
      {"12/31/2026 12:00 PM", Civil(2026, 12, 31, 12)},
      {"12/31/2026 11:59:59 PM", Civil(2026, 12, 31, 23, 59, 59)},
      {"2/29/2024", Civil(2024, 2, 29)},
      {"1/1/1800 06:00", Civil(1800, 1, 1, 6)},
      {"14:30", OleDate(14.5 / 24)},
      {"2:30 PM", OleDate(14.5 / 24)},
      {"12:00 AM", OleDate(0.0)},
      {"06:00:00", OleDate(0.25)},
  };
  for (const Case& c : cases) {
    const auto parsed = ParseDate(c.text);
    ASSERT_TRUE(parsed.has_value()) << '"' << c.text << '"';
    EXPECT_NEAR(parsed->Days(), c.date.Days(), 1e-9) << '"' << c.text << '"';
    EXPECT_TRUE(IsDate(Value(c.text))) << '"' << c.text << '"';
    EXPECT_NEAR(Value(c.text).ToDate().Days(), c.date.Days(), 1e-9) << '"' << c.text << '"';
  }
}

TEST(ValueDates, RefusedTexts) {
  const char* refused[] = {"",           "   ",         "garbage",           "13/45/2026",
                           "2026-02-30", "2026-13-01",  "2/29/2025",         "25:00",
                           "13:00 PM",   "0:30 AM",     "2026-03-05 14:60",  "2026-03-05T",
                           "3/5/26",     "2026-3-5",    "2026-03-05 14:30:00+02:00",
                           "12",         "1.5",         "45000",             "2026-03-05 garbage",
                           "0099-12-31", "14:30 XM",    "2026-03-05T2:30 PM"};
  for (const char* text : refused) {
    EXPECT_FALSE(ParseDate(text).has_value()) << '"' << text << '"';
    EXPECT_FALSE(IsDate(Value(text))) << '"' << text << '"';
    EXPECT_EQ(NumberOf([&] { Value(text).ToDate(); }), kErrTypeMismatch) << '"' << text << '"';
  }
}

TEST(ValueDates, DefaultTextHasThreeForms) {
  struct Case {
    OleDate date;
    const char* text;
  };
  const Case cases[] = {
      {Civil(2026, 3, 5, 14, 30, 7), "2026-03-05 14:30:07"},
      {Civil(2026, 3, 5), "2026-03-05"},
      {OleDate(0.5), "12:00:00"},
      {OleDate(0.0), "00:00:00"},
      {OleDate(-1.25), "1899-12-29 06:00:00"},
      {OleDate(-0.25), "06:00:00"},
      {Civil(2026, 3, 5, 14, 30, 59, 600), "2026-03-05 14:31:00"},
      {Civil(2026, 3, 5, 23, 59, 59, 500), "2026-03-06"},
      {Civil(2026, 3, 5, 14, 30, 59, 400), "2026-03-05 14:30:59"},
      {Civil(100, 1, 1), "0100-01-01"},
      {Civil(9999, 12, 31, 23, 59, 59), "9999-12-31 23:59:59"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(FormatDate(c.date), c.text) << c.date.Days();
    EXPECT_EQ(Value(c.date).ToText(), c.text) << c.date.Days();
  }
}

TEST(ValueDates, TextRoundTripAndNumbers) {
  for (OleDate date : {Civil(2026, 3, 5, 14, 30, 7), Civil(1850, 6, 1), Civil(2000, 2, 29, 23, 59, 59),
                       OleDate(0.75), Civil(1899, 12, 29, 18)}) {
    EXPECT_EQ(ParseDate(FormatDate(date)), date) << FormatDate(date);
  }
  EXPECT_EQ(Value(45000.5).ToDate(), OleDate(45000.5));
  EXPECT_EQ(Value(int32_t{2}).ToDate(), OleDate(2.0));
  EXPECT_EQ(Value("1/1/1900").ToDate(), OleDate(2.0));
  EXPECT_EQ(Value(OleDate(45000.25)).ToDouble(), 45000.25);
  EXPECT_EQ(NumberOf([] { Value(1e10).ToDate(); }), kErrOverflow);
  EXPECT_EQ(NumberOf([] { Value(-1e7).ToDate(); }), kErrOverflow);
}

TEST(ValueIsNumericIsDate, ByKind) {
  struct Case {
    Value value;
    bool numeric;
    bool date;
  };
  const Case cases[] = {
      {Value(), true, false},
      {Value::Null, false, false},
      {Value(int16_t{3}), true, false},
      {Value(3), true, false},
      {Value(3.5f), true, false},
      {Value(3.5), true, false},
      {Value(true), true, false},
      {Value(OleDate(45000.0)), false, true},
      {Value("45000"), true, false},
      {Value("2026-03-05"), false, true},
      {Value("3/5/2026 2:30 PM"), false, true},
      {Value("&H1F"), true, false},
      {Value("words"), false, false},
      {Value(""), false, false},
      {Value(ObjectRef()), false, false},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(IsNumeric(c.value), c.numeric) << c.value.TypeName();
    EXPECT_EQ(IsDate(c.value), c.date) << c.value.TypeName();
  }
}

}  // namespace
}  // namespace korad
