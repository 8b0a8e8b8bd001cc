// The one way the library reports failures, seen from a caller three routines up.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>
#include <stdexcept>

#include "contracts/error_reporter.h"
#include "support/error_number.h"
#include "support/recording_log_manager.h"

namespace korad {
namespace {

using testing::FailureOf;

using testing::RecordingLogManager;

// Three classes in a call chain, each with the handler every public routine has.
class Reader : public ErrorReporter {
 public:
  int32_t ReadCount() {
    int32_t result = 0;
    Guard("Reader.ReadCount: ", [&] {
      result = 5;  // what the result holds when the failure comes
      RaiseRuntimeError(kErrFileNotFound);
    });
    return result;
  }
  std::string ReadName() {
    std::string result;
    Guard("Reader.ReadName: ", [&] { RaiseLibraryError("No name configured"); });
    return result;
  }
};

class Parser : public ErrorReporter {
 public:
  explicit Parser(Reader& reader) : m_reader(reader) {}
  int32_t Parse() {
    int32_t result = -1;
    Guard("Parser.Parse: ", [&] { result = m_reader.ReadCount() * 2; });
    return result;
  }

 private:
  Reader& m_reader;
};

class Engine : public ErrorReporter {
 public:
  explicit Engine(Parser& parser) : m_parser(parser) {}
  bool Run() {
    bool result = false;
    Guard("Engine.Run: ", [&] {
      m_parser.Parse();
      result = true;
    });
    return result;
  }

 private:
  Parser& m_parser;
};

struct Chain {
  Reader reader;
  Parser parser{reader};
  Engine engine{parser};
};

// Without log managers the first number climbs with one prefix per level; the library's
// own failures carry its number, foreign exceptions their text; all end with "DevSvcErr".
TEST(ErrorConvention, WithoutLogManagersTheFailureReachesTheCallerWithEveryPrefix) {
  Chain chain;
  Error e = FailureOf([&] { chain.engine.Run(); });
  EXPECT_EQ(e.Number(), kErrFileNotFound);
  EXPECT_EQ(e.Source(), "DevSvcErr");
  EXPECT_EQ(e.Description(), "Engine.Run: Parser.Parse: Reader.ReadCount: File not found");

  e = FailureOf([&] { chain.reader.ReadName(); });
  EXPECT_EQ(e.Number(), kLibraryError);
  EXPECT_EQ(static_cast<uint32_t>(e.Number()), 0x80040000u);
  EXPECT_EQ(e.Source(), "DevSvcErr");
  EXPECT_EQ(e.Description(), "Reader.ReadName: No name configured");

  struct Thrower : ErrorReporter {
    void Go() { Guard("Thrower.Go: ", [] { throw std::runtime_error("disk on fire"); }); }
  } thrower;
  e = FailureOf([&] { thrower.Go(); });
  EXPECT_EQ(e.Number(), kLibraryError);
  EXPECT_EQ(e.Description(), "Thrower.Go: disk on fire");
}

// Wherever the log manager sits, the failure stops there: one "DevSvcErr" line at level 2,
// and that routine returns what its result held.
TEST(ErrorConvention, ALogManagerAtAnyLevelLogsOnceAndTheRoutineReturnsItsResult) {
  struct Case {
    int level;  // 0 reader, 1 parser, 2 engine
    std::string expectedLine;
  };
  const Case cases[] = {
      {0, "Reader.ReadCount: File not found"},
      {1, "Parser.Parse: Reader.ReadCount: File not found"},
      {2, "Engine.Run: Parser.Parse: Reader.ReadCount: File not found"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.level);
    Chain chain;
    auto log = std::make_shared<RecordingLogManager>();
    ErrorReporter* where[] = {&chain.reader, &chain.parser, &chain.engine};
    where[c.level]->SetLogManager(log);

    bool ran = false;
    ASSERT_NO_THROW(ran = chain.engine.Run());

    const auto lines = log->Lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].text, c.expectedLine);
    EXPECT_EQ(lines[0].category, "DevSvcErr");
    EXPECT_EQ(lines[0].level, logLevelError);
    // Below the engine the failure is swallowed, so the engine completes.
    EXPECT_EQ(ran, c.level < 2);
  }

  // A swallowed failure leaves the result as it stood when the failure came.
  Reader reader;
  reader.SetLogManager(std::make_shared<RecordingLogManager>());
  EXPECT_EQ(reader.ReadCount(), 5);
  EXPECT_EQ(reader.ReadName(), "");
}

}  // namespace
}  // namespace korad
