// Messages the manager must survive: each bad one costs at most one logged line and the
// entries after the fault, and a required attribute then refuses the run for good.
#include <random>

#include "action_fixture.h"

namespace korad::testing {
namespace {

TEST_F(ActionTest, ABadMessageIsOneLoggedLineAndTheRequiredAttributeRefusesTheRun) {
  Actor().attrRules = [](ValidationRules& rules) { rules.Add("ACTION.Command"); };
  const std::string huge =
      "<ObjectMap><ACTION.Command>" + std::string(20u << 20, 'a') + "</ACTION.Command></ObjectMap>";
  const std::vector<std::pair<const char*, std::string>> messages = {
      {"malformed", "<ObjectMap><ACTION.Command>ls</ObjectMap"},
      {"document type", "<!DOCTYPE m [<!ENTITY c 'ls'>]><ObjectMap><ACTION.Command>&c;</ACTION.Command></ObjectMap>"},
      {"20 MB", huge},
      {"key data as text", Message({{"EVENT.KEYDATA", Value("C:")}, {"ACTION.Command", Value("ls")}})},
      {"empty", ""},
  };
  for (const auto& [name, message] : messages) {
    SCOPED_TRACE(name);
    const size_t before = Logged("ERROR: ActionManager.CreateAction: ", "DevSvcErr").size();
    try {
      MakeManager()->PerformAction(message);
      ADD_FAILURE() << "the run went on";
    } catch (const Error& e) {
      EXPECT_TRUE(
          e.Description().ends_with("Could not find 'ACTION.Command' attribute on action 'TestActor'%mvNoRetry%"))
          << e.Description();
    }
    EXPECT_EQ(Logged("ERROR: ActionManager.CreateAction: ", "DevSvcErr").size() - before,
              std::string_view(name) == "empty" ? 0u : 1u);
  }
  EXPECT_TRUE(Actor().calls.empty());
}

// Mutated messages: every run ends in the actor's answer or an Error, and every action
// made is finalised.
TEST_F(ActionTest, MutatedMessagesNeverEscapeAsAnythingButAnError) {
  auto keyData = MessageMap({{"Disk", Value("C:")}, {"When", Value(*OleDate::FromCivil(2026, 3, 5, 14, 30, 0))}});
  const std::string seed = Message(
      {{"ACTION.Command", Value("ls -l")}, {"EVENT.Source", Value("Server1")}, {"EVENT.Priority", Value(int32_t{2})},
       {"EVENT.KEYDATA", Value(ObjectRef(keyData))},
       {"EVENT.LastIncidentOccurrence", Value(*OleDate::FromCivil(2026, 3, 5, 14, 0, 0))},
       {"USER.Name", Value("bob & <alice>")}, {"Plain", Value(3.5)}});
  auto manager = MakeManager();
  std::mt19937 random(20260305);
  auto below = [&](size_t n) { return n == 0 ? 0 : static_cast<size_t>(random() % n); };
  constexpr int kRuns = 400;
  int answered = 0, raised = 0;
  for (int run = 0; run < kRuns; ++run) {
    std::string message = seed;
    for (int step = 1 + static_cast<int>(below(4)); step > 0 && !message.empty(); --step) {
      const size_t at = below(message.size());
      switch (below(4)) {
        case 0: message[at] = static_cast<char>(random()); break;
        case 1: message.erase(at, 1 + below(16)); break;
        case 2: message.insert(at, message.substr(below(message.size()), 1 + below(32))); break;
        case 3: message.insert(at, 1, "<>&\"/=."[below(7)]); break;
      }
    }
    try {
      EXPECT_EQ(manager->PerformAction(message), "done");
      ++answered;
    } catch (const Error&) {
      ++raised;
    }
  }
  // Most mutations must have broken the message, or the test proves little.
  EXPECT_GT(Logged("ActionManager.CreateAction: ").size(), static_cast<size_t>(kRuns / 2));
  EXPECT_EQ(static_cast<int>(Actor().calls.size()), answered);
  for (const TestActorScript::Call& call : Actor().calls) ASSERT_EQ(call.action->GetAttributes()->Parent(), nullptr);
}

}  // namespace
}  // namespace korad::testing
