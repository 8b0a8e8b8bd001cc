// A command line split as a shell splits it into words, with no shell run: quotes and
// backslashes group and escape, nothing is expanded, and an open quote is refused.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "contracts/error.h"
#include "platform/process.h"

namespace korad {
namespace {

using Args = std::vector<std::string>;

std::string Refusal(std::string_view line) {
  try {
    SplitShellWords(line);
  } catch (const Error& e) {
    return e.Description();
  }
  return "accepted";
}

TEST(SplitShellWords, QuotesAndBackslashesAsTheShellReadsThem) {
  EXPECT_EQ(SplitShellWords("check_dummy 1 'half way'"), (Args{"check_dummy", "1", "half way"}));
  EXPECT_EQ(SplitShellWords(" \t/bin/check  -w\t10 \n -c 20 "), (Args{"/bin/check", "-w", "10", "-c", "20"}));
  // Single quotes keep everything, a backslash and a double quote too.
  EXPECT_EQ(SplitShellWords(R"(p 'a\b "c"' '')"), (Args{"p", R"(a\b "c")", ""}));
  // In double quotes a backslash escapes only $ ` " \ and a line end; elsewhere it stays.
  EXPECT_EQ(SplitShellWords(R"(p "a\"b\\c\$d\e" "it's" "")"), (Args{"p", R"(a"b\c$d\e)", "it's", ""}));
  // Outside quotes it escapes any character; a backslash and line end join two lines.
  EXPECT_EQ(SplitShellWords("p a\\ b c\\'d e\\\\f g\\\nh"), (Args{"p", "a b", "c'd", "e\\f", "gh"}));
  // Parts next to each other are one word; nothing is expanded.
  EXPECT_EQ(SplitShellWords(R"(p a'b c'"d e"f $HOME * ~ a|b)"), (Args{"p", "ab cd ef", "$HOME", "*", "~", "a|b"}));
  EXPECT_EQ(SplitShellWords(R"("/opt/my checks/x" -v)"), (Args{"/opt/my checks/x", "-v"}));
  EXPECT_EQ(SplitShellWords(" \t\n"), Args{});
  EXPECT_EQ(SplitShellWords("p \\\n q"), (Args{"p", "q"}));
}

TEST(SplitShellWords, AnOpenQuoteOrATrailingBackslashIsRefused) {
  EXPECT_EQ(Refusal("check_dummy 1 'half way"), "the single quote at character 15 is never closed");
  EXPECT_EQ(Refusal(R"(p "a\")"), "the double quote at character 3 is never closed");
  EXPECT_EQ(Refusal("p a\\"), "the line ends in a backslash that escapes nothing");
}

}  // namespace
}  // namespace korad
