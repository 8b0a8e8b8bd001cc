// Collections, the class registry and late binding, as callers use them.
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>

#include "contracts/class_registry.h"
#include "contracts/collection.h"
#include "contracts/object.h"
#include "support/error_number.h"

namespace korad {
namespace {

using testing::NumberOf;

TEST(Collection, KeyedInsertionOrderedAndOneBasedWithTheErrorsCallersTestFor) {
  Collection<std::string> c;
  c.Add("first", "Alpha");
  c.Add("second", "beta");
  c.Add("unkeyed");
  c.Add("fourth", "GAMMA");

  EXPECT_EQ(c.Count(), 4);
  EXPECT_EQ(c.Item(1), "first");
  EXPECT_EQ(c.Item(4), "fourth");
  EXPECT_EQ(c.Item("ALPHA"), "first");  // keys ignore case
  EXPECT_EQ(c.Item(Value("Beta")), "second");
  EXPECT_EQ(c.Item(Value(2.5)), "second");  // half to even: position 2
  EXPECT_EQ(c.Item(Value(int16_t{3})), "unkeyed");

  EXPECT_EQ(NumberOf([&] { c.Add("again", "alpha"); }), kErrDuplicateKey);
  EXPECT_EQ(c.Count(), 4) << "a refused add adds nothing";
  EXPECT_EQ(NumberOf([&] { c.Item(0); }), kErrSubscriptRange);
  EXPECT_EQ(NumberOf([&] { c.Item(5); }), kErrSubscriptRange);
  EXPECT_EQ(NumberOf([&] { c.Item("nope"); }), kErrInvalidCall);
  EXPECT_EQ(NumberOf([&] { c.Item(Value(OleDate(3.0))); }), kErrTypeMismatch);
  EXPECT_EQ(NumberOf([&] { c.Item(Value(1e12)); }), kErrOverflow);

  c.Remove("BETA");
  EXPECT_EQ(c.Count(), 3);
  EXPECT_EQ(c.Item(2), "unkeyed");
  EXPECT_EQ(c.Find("beta"), nullptr);
  c.Add("second again", "Beta");  // the key is free once its entry is gone
  EXPECT_EQ(c.Item(4), "second again");

  c.Remove(1);
  EXPECT_EQ(c.Item(1), "unkeyed");
  EXPECT_EQ(NumberOf([&] { c.Remove("alpha"); }), kErrInvalidCall);

  std::string seen;
  for (const std::string& s : c) seen += s + ";";
  EXPECT_EQ(seen, "unkeyed;fourth;second again;");
}

TEST(Collection, LargeCollectionsKeepTheirIndexThroughRemovals) {
  Collection<int> c;
  for (int i = 0; i < 20000; ++i) c.Add(i, "K" + std::to_string(i));
  for (int i = 0; i < 20000; i += 2) c.Remove("k" + std::to_string(i));
  ASSERT_EQ(c.Count(), 10000);
  EXPECT_EQ(c.Item("K19999"), 19999);
  EXPECT_EQ(c.Item(1), 1);
  EXPECT_FALSE(c.Contains("K0"));
}

class Gadget final : public Dispatchable<Gadget> {
 public:
  static constexpr std::string_view kClassId = "Test.Gadget";
  std::string_view ClassId() const noexcept override { return kClassId; }
  static const DispatchTable<Gadget>& Dispatch() {
    static const DispatchTable<Gadget> table = [] {
      DispatchTable<Gadget> t;
      t.Property("Name", [](Gadget& g) { return Value(g.name); },
                 [](Gadget& g, const Value& v) { g.name = v.ToText(); });
      t.Property("Size", [](Gadget& g) { return Value(g.size); });  // read-only
      t.Call("Grow", [](Gadget& g) {
        ++g.size;
        return Value();
      });
      return t;
    }();
    return table;
  }
  std::string name;
  int32_t size = 1;
};

TEST(LateBinding, PropertiesAndMethodsByNameIgnoringCase) {
  auto gadget = std::make_shared<Gadget>();
  ObjectRef object = gadget;
  object->LetProperty("NAME", Value("widget"));
  EXPECT_EQ(object->GetProperty("name").ToText(), "widget");
  object->CallMethod("grow");
  EXPECT_EQ(object->GetProperty("Size").ToLong(), 2);
  EXPECT_TRUE(object->HasProperty("size"));
  EXPECT_TRUE(object->HasMethod("GROW"));
  EXPECT_FALSE(object->HasMethod("Shrink"));
  EXPECT_EQ(object->ClassName(), "Gadget");

  EXPECT_EQ(NumberOf([&] { object->LetProperty("Size", Value(3)); }), kErrNoSuchMember);
  EXPECT_EQ(NumberOf([&] { object->GetProperty("Colour"); }), kErrNoSuchMember);
  EXPECT_EQ(NumberOf([&] { object->CallMethod("Shrink"); }), kErrNoSuchMember);
}

TEST(ClassRegistry, CreatesByCaseInsensitiveIdRejectsDuplicatesAndRaises429ForAnUnknownId) {
  ClassRegistry registry;
  EXPECT_TRUE(registry.RegisterClass<Gadget>("Test.Gadget"));
  EXPECT_FALSE(registry.Register("TEST.GADGET", [] { return ObjectRef(); })) << "first factory stays";

  ObjectRef made = registry.TryCreate("test.gadget");
  ASSERT_NE(made, nullptr);
  EXPECT_EQ(made->ClassId(), "Test.Gadget");
  EXPECT_NE(registry.TryCreate("Test.Gadget"), made) << "each create is a new object";
  EXPECT_EQ(registry.TryCreate("Test.Unknown"), nullptr);
  try {
    CreateObject("Nobody.Home");
    ADD_FAILURE() << "an unknown id was created";
  } catch (const Error& e) {
    EXPECT_EQ(e.Number(), kErrCantCreateObject);
    EXPECT_NE(e.Description().find("Nobody.Home"), std::string::npos);
  }
}

TEST(ClassRegistry, AMissRescansOnceSoAClassThatArrivesLaterIsFound) {
  ClassRegistry registry;
  int rescans = 0;
  registry.SetMissHandler([&](ClassRegistry& r, std::string_view) {
    ++rescans;
    return r.RegisterClass<Gadget>("Late.Gadget");
  });
  EXPECT_NE(registry.TryCreate("late.gadget"), nullptr);
  EXPECT_EQ(rescans, 1);
  EXPECT_NE(registry.TryCreate("Late.Gadget"), nullptr);
  EXPECT_EQ(rescans, 1) << "a registered id needs no rescan";
  EXPECT_EQ(registry.TryCreate("Still.Missing"), nullptr);
  EXPECT_EQ(rescans, 2);
}

TEST(ClassRegistry, ConcurrentCreatesAndRegistrationsAreSafe) {
  ClassRegistry registry;
  registry.RegisterClass<Gadget>("Test.Gadget");
  std::atomic<int> made{0};
  std::thread writer([&] {
    for (int i = 0; i < 500; ++i) registry.RegisterClass<Gadget>("Test.G" + std::to_string(i));
  });
  std::thread reader([&] {
    for (int i = 0; i < 2000; ++i) made += registry.TryCreate("Test.Gadget") != nullptr;
  });
  writer.join();
  reader.join();
  EXPECT_EQ(made.load(), 2000);
  EXPECT_EQ(registry.ClassIds().size(), 501u);
}

}  // namespace
}  // namespace korad
