// The scripting-compatible dictionary as its callers use it: error lists keyed by
// moniker, state items under raw keys, and big state files.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "contracts/object.h"
#include "contracts/text.h"
#include "platform/scripting_dictionary.h"
#include "support/error_number.h"

namespace korad {
namespace {

using testing::NumberOf;

std::string KeyText(const std::vector<std::string>& keys) {
  std::string text;
  for (const std::string& key : keys) text += key + ";";
  return text;
}

TEST(ScriptingDictionary, ErrorListLifeInBinaryMode) {
  ScriptingDictionary errors;
  EXPECT_EQ(errors.GetCompareMode(), CompareMode::Binary);
  errors.Add("Disk:C", Value("Threshold missing"));
  errors.Add("Disk:D", Value("Bad unit"));
  errors.Add("Cpu", Value(int32_t{3}));
  EXPECT_TRUE(errors.Exists("Disk:C"));
  EXPECT_FALSE(errors.Exists("disk:c")) << "binary compare is case-sensitive";

  EXPECT_EQ(NumberOf([&] { errors.Add("Disk:D", Value("again")); }), kErrDuplicateKey);
  EXPECT_EQ(errors.Find("Disk:D")->ToText(), "Bad unit") << "a refused Add changes nothing";

  errors.SetItem("Disk:C", Value("Fixed text"));  // replaces in place
  errors.SetItem("Mem", Value("Low"));            // adds at the end
  EXPECT_EQ(KeyText(errors.Keys()), "Disk:C;Disk:D;Cpu;Mem;");
  const std::vector<Value> items = errors.Items();
  ASSERT_EQ(items.size(), 4u);
  EXPECT_EQ(items[0], Value("Fixed text"));
  EXPECT_EQ(items[2], Value(int32_t{3}));

  errors.Remove("Disk:D");
  EXPECT_EQ(NumberOf([&] { errors.Remove("Disk:D"); }), kErrElementNotFound);
  EXPECT_EQ(NumberOf([&] { errors.Remove("disk:c"); }), kErrElementNotFound);
  EXPECT_EQ(KeyText(errors.Keys()), "Disk:C;Cpu;Mem;");
  EXPECT_EQ(errors.Count(), 3u);

  errors.RemoveAll();
  EXPECT_EQ(errors.Count(), 0u);
  EXPECT_TRUE(errors.Keys().empty());
  errors.Add("Disk:D", Value("back"));
  EXPECT_EQ(KeyText(errors.Keys()), "Disk:D;");
}

TEST(ScriptingDictionary, ItemGetOfAMissingKeyAddsItButFindDoesNot) {
  ScriptingDictionary state;
  EXPECT_EQ(state.Find("GLOBAL-LASTRUN"), nullptr);
  EXPECT_EQ(state.Count(), 0u);

  const Value& read = state.Item("GLOBAL-LASTRUN");
  EXPECT_TRUE(read.IsEmpty());
  EXPECT_EQ(state.Count(), 1u) << "the classic quirk: reading adds the key";
  EXPECT_TRUE(state.Exists("GLOBAL-LASTRUN"));
  EXPECT_EQ(NumberOf([&] { state.Add("GLOBAL-LASTRUN", Value(1)); }), kErrDuplicateKey);

  state.Item("GLOBAL-COUNT") = Value(int32_t{7});
  EXPECT_EQ(state.Find("GLOBAL-COUNT")->ToLong(), 7);
  state.Add("", Value("empty keys are keys"));
  EXPECT_EQ(state.Item("").ToText(), "empty keys are keys");
  EXPECT_EQ(KeyText(state.Keys()), "GLOBAL-LASTRUN;GLOBAL-COUNT;;");
}

TEST(ScriptingDictionary, TextModeIgnoresCaseAndIsSetOnlyWhileEmpty) {
  ScriptingDictionary dict;
  dict.SetCompareMode(CompareMode::Text);
  dict.Add("Monday", Value("Y"));
  EXPECT_TRUE(dict.Exists("MONDAY"));
  EXPECT_EQ(dict.Item("monday").ToText(), "Y");
  EXPECT_EQ(dict.Count(), 1u);
  EXPECT_EQ(NumberOf([&] { dict.Add("MONDAY", Value("N")); }), kErrDuplicateKey);
  dict.SetItem("MONDAY", Value("N"));
  EXPECT_EQ(KeyText(dict.Keys()), "Monday;") << "the first spelling stays";
  EXPECT_EQ(dict.Find("Monday")->ToText(), "N");

  EXPECT_EQ(NumberOf([&] { dict.SetCompareMode(CompareMode::Binary); }), kErrInvalidCall);
  EXPECT_EQ(dict.GetCompareMode(), CompareMode::Text);
  dict.Remove("mONDAY");
  dict.SetCompareMode(CompareMode::Binary);  // empty again
  dict.Add("a", Value(1));
  dict.Add("A", Value(2));
  EXPECT_EQ(dict.Count(), 2u);
}

TEST(ScriptingDictionary, RenamingAKeyKeepsItsPlace) {
  ScriptingDictionary dict;
  dict.SetCompareMode(CompareMode::Text);
  dict.Add("first", Value(1));
  dict.Add("second", Value(2));
  dict.Add("third", Value(3));
  dict.RenameKey("SECOND", "middle");
  EXPECT_EQ(KeyText(dict.Keys()), "first;middle;third;");
  EXPECT_FALSE(dict.Exists("second"));
  EXPECT_EQ(dict.Find("Middle")->ToLong(), 2);

  EXPECT_EQ(NumberOf([&] { dict.RenameKey("middle", "THIRD"); }), kErrDuplicateKey);
  EXPECT_EQ(NumberOf([&] { dict.RenameKey("gone", "other"); }), kErrElementNotFound);
  dict.RenameKey("middle", "MIDDLE");  // a new spelling of the same key
  EXPECT_EQ(KeyText(dict.Keys()), "first;MIDDLE;third;");
  // Keys handed out by ForEach are the dictionary's own; renaming with them is safe.
  std::string_view own;
  dict.ForEach([&](std::string_view key, const Value&) {
    if (own.empty()) own = key;
  });
  dict.RenameKey(own, own);
  dict.RenameKey("first", "first!");
  EXPECT_EQ(KeyText(dict.Keys()), "first!;MIDDLE;third;");
}

TEST(ScriptingDictionary, ItemReferencesSurviveGrowthAndRemovedItemsAreReleasedAtOnce) {
  ScriptingDictionary grown;
  Value& kept = grown.Item("kept");
  for (int i = 0; i < 5000; ++i) grown.Add("k" + std::to_string(i), Value(i));
  kept = Value("still here");
  EXPECT_EQ(grown.Find("kept")->ToText(), "still here");

  class Probe final : public Object {
   public:
    std::string_view ClassId() const noexcept override { return "Test.Probe"; }
  };
  auto probe = std::make_shared<Probe>();
  ScriptingDictionary dict;
  dict.Add("a", Value(ObjectRef(probe)));
  dict.Add("b", Value(ObjectRef(probe)));
  dict.Add("c", Value(1));
  EXPECT_EQ(probe.use_count(), 3);
  dict.Remove("b");  // in the middle: the slot stays until a compaction
  EXPECT_EQ(probe.use_count(), 2);
  dict.RemoveAll();
  EXPECT_EQ(probe.use_count(), 1);
}

// A state file's worth of items, thinned out from the front, the middle (three in four,
// enough to make the dictionary compact itself) and the back, then refilled: order and
// lookups stay right throughout.
TEST(ScriptingDictionary, HundredThousandItemsThinnedAndRefilled) {
  constexpr int kItems = 100'000;
  auto key = [](int i) { return "GLOBAL-KEY" + std::to_string(i); };
  ScriptingDictionary dict;
  for (int i = 0; i < kItems; ++i) dict.Add(key(i), Value(int32_t{i}));
  ASSERT_EQ(dict.Count(), static_cast<size_t>(kItems));

  for (int i = 0; i < 10'000; ++i) dict.Remove(key(i));  // oldest first
  for (int i = 10'000; i < kItems; ++i) {
    if (i % 4 != 0) dict.Remove(key(i));
  }
  for (int i = 10'000; i < 20'000; i += 4) dict.Remove(key(i));  // oldest first again
  for (int i = kItems - 4; i >= 90'000; i -= 4) dict.Remove(key(i));  // newest first
  ASSERT_EQ(dict.Count(), 17'500u);

  int expected = 20'000;
  bool inOrder = true;
  dict.ForEach([&](std::string_view k, const Value& item) {
    inOrder = inOrder && k == key(expected) && item.ToLong() == expected;
    expected += 4;
  });
  EXPECT_TRUE(inOrder);
  EXPECT_EQ(expected, 90'000);
  for (int i = 0; i < kItems; i += 333) {
    const Value* found = dict.Find(key(i));
    const bool present = i % 4 == 0 && i >= 20'000 && i < 90'000;
    ASSERT_EQ(found != nullptr, present) << i;
    if (found) {
      EXPECT_EQ(found->ToLong(), i);
    }
  }

  dict.Add(key(1), Value("new"));
  dict.SetItem(key(20'000), Value("changed"));
  dict.Remove(key(50'000));
  const std::vector<std::string> keys = dict.Keys();
  ASSERT_EQ(keys.size(), 17'500u);
  EXPECT_EQ(keys.front(), key(20'000));
  EXPECT_EQ(keys.back(), key(1));
  EXPECT_EQ(dict.Items().front(), Value("changed"));
  EXPECT_FALSE(dict.Exists(key(50'000)));
  EXPECT_TRUE(dict.Exists(key(50'004)));
}

// Random adds, lets, removals and renames in Text mode against a plain list that is
// searched by hand: the hashed index (its probing, the shifting back on removal, the
// compactions) must always agree with it, order and case-preserving spelling included.
TEST(ScriptingDictionary, AgreesWithAPlainListUnderRandomChanges) {
  struct Pair {
    std::string key;
    int32_t item;
  };
  std::vector<Pair> model;
  auto findModel = [&](const std::string& key) {
    for (std::size_t i = 0; i < model.size(); ++i) {
      if (EqualsNoCase(model[i].key, key)) return static_cast<int>(i);
    }
    return -1;
  };
  ScriptingDictionary dict;
  dict.SetCompareMode(CompareMode::Text);
  uint32_t seed = 12345;
  auto next = [&](uint32_t bound) {
    seed = seed * 1664525u + 1013904223u;
    return (seed >> 8) % bound;
  };
  auto randomKey = [&] {
    std::string key = "Key" + std::to_string(next(400));
    if (next(2) == 0) key = UpperAscii(key);
    return key;
  };
  for (int step = 0; step < 20'000; ++step) {
    const std::string key = randomKey();
    const int found = findModel(key);
    const auto value = static_cast<int32_t>(step);
    switch (next(6)) {
      case 5:
        if (step % 50 == 0) {  // a bulk removal now and then
          const std::size_t removed =
              dict.RemoveIf([&](std::string_view k, const Value&) { return k.back() == key.back(); });
          const auto kept = std::remove_if(model.begin(), model.end(),
                                           [&](const auto& entry) { return entry.key.back() == key.back(); });
          ASSERT_EQ(removed, static_cast<std::size_t>(model.end() - kept));
          model.erase(kept, model.end());
        }
        break;
      case 0:
      case 1:
        if (found < 0) {
          dict.Add(key, Value(value));
          model.push_back({key, value});
        } else {
          ASSERT_EQ(NumberOf([&] { dict.Add(key, Value(value)); }), kErrDuplicateKey);
        }
        break;
      case 2:
        dict.SetItem(key, Value(value));
        if (found < 0) model.push_back({key, value});
        else model[static_cast<std::size_t>(found)].item = value;
        break;
      case 3:
        if (found < 0) {
          ASSERT_EQ(NumberOf([&] { dict.Remove(key); }), kErrElementNotFound);
        } else {
          dict.Remove(key);
          model.erase(model.begin() + found);
        }
        break;
      default: {
        const std::string newKey = randomKey();
        const int other = findModel(newKey);
        if (found >= 0 && (other < 0 || other == found)) {
          dict.RenameKey(key, newKey);
          model[static_cast<std::size_t>(found)].key = newKey;
        } else {
          ASSERT_NE(NumberOf([&] { dict.RenameKey(key, newKey); }), 0);
        }
      }
    }
    ASSERT_EQ(dict.Count(), model.size()) << step;
    if (step % 1000 == 0 || step == 19'999) {
      std::size_t at = 0;
      bool same = true;
      dict.ForEach([&](std::string_view k, const Value& item) {
        same = same && at < model.size() && k == model[at].key && item.ToLong() == model[at].item;
        ++at;
      });
      ASSERT_TRUE(same) << step;
      for (int i = 0; i < 400; ++i) {
        const std::string probe = "KEY" + std::to_string(i);
        const int expected = findModel(probe);
        const Value* item = dict.Find(probe);
        ASSERT_EQ(item != nullptr, expected >= 0) << probe;
        if (item) {
          ASSERT_EQ(item->ToLong(), model[static_cast<std::size_t>(expected)].item);
        }
      }
    }
  }
}

}  // namespace
}  // namespace korad
