// Walks the tree: global and procedure scopes, calls with ByRef and ByVal arguments,
// control flow, and the limits that keep a script from holding its caller's thread or
// memory (steps per run, call depth, stack, text and array sizes).
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "contracts/text.h"
#include "platform/vbscript/ast.h"
#include "platform/vbscript/builtins.h"

namespace korad::vbscript {

struct InterpreterLimits {
  int64_t maxSteps = 1'000'000;  // statements, loop turns and calls per run
  int maxCallDepth = 256;
  size_t maxStackBytes = 1u << 20;
  BuiltinLimits data;
};

class Interpreter {
 public:
  Interpreter();
  ~Interpreter();
  Interpreter(const Interpreter&) = delete;
  Interpreter& operator=(const Interpreter&) = delete;

  InterpreterLimits& Limits() { return m_limits; }

  // Each is one run: the step count starts again at 0.
  // Keeps the program's procedures (a later definition replaces an earlier one) and runs
  // its statements in the global scope.
  void Run(const Program& program);
  Value Evaluate(const Expr& expression);

 private:
  enum class Flow { kNormal, kExitDo, kExitFor, kExitProcedure };

  struct Frame {
    std::unordered_map<std::string, Value*, NoCaseHash, NoCaseEqual> names;
    std::deque<Value> storage;
    std::unordered_set<std::string, NoCaseHash, NoCaseEqual> constants;
    const Procedure* procedure = nullptr;  // nullptr for the global scope
  };

  class RunScope;
  class CallScope;

  // interpreter.cc: statements.
  Flow ExecuteBlock(const Block& block);
  Flow Execute(const Stmt& stmt);
  void Assign(const Stmt& stmt);
  void Declare(const Stmt& stmt);
  Flow ExecuteIf(const Stmt& stmt);
  Flow ExecuteSelect(const Stmt& stmt);
  Flow ExecuteFor(const Stmt& stmt);
  Flow ExecuteForEach(const Stmt& stmt);
  Flow ExecuteDo(const Stmt& stmt);
  Flow LoopBody(const Block& body, Flow exitFlow, bool& stop);

  // interpreter_calls.cc: names, calls and expressions.
  Value Eval(const Expr& e);
  Value EvalName(const Expr& e);
  Value EvalCall(const std::string& name, const std::vector<ExprPtr>& args, bool asStatement);
  Value CallProcedure(const Procedure& procedure, const std::vector<ExprPtr>& args);
  Value CallBuiltin(const Builtin& builtin, const std::vector<ExprPtr>& args);
  Value* FindVariable(std::string_view name);
  // The variable an assignment writes; made in the current scope when the name is new.
  Value* VariableForWrite(const std::string& name);
  Value* Declare(Frame& frame, const std::string& name);
  const Procedure* FindProcedure(std::string_view name) const;
  bool IsCurrentFunction(std::string_view name) const;

  void Step();
  void Charge(const Value& result);
  void CheckStack() const;

  InterpreterLimits m_limits;
  std::unordered_map<std::string, std::shared_ptr<const Procedure>, NoCaseHash, NoCaseEqual> m_procedures;
  Frame m_global;
  Frame* m_frame = &m_global;
  bool m_optionExplicit = false;
  int64_t m_steps = 0;
  int m_callDepth = 0;
  uintptr_t m_stackBase = 0;
  int m_runDepth = 0;
};

}  // namespace korad::vbscript
