// Statements and the run's bookkeeping.
#include "platform/vbscript/interpreter.h"

#include <string>

#include "contracts/error.h"
#include "platform/vbscript/operators.h"
#include "platform/vbscript/script_array.h"
#include "platform/vbscript/script_errors.h"

namespace korad::vbscript {

// One public call: counts steps from 0 and measures the stack from here.
class Interpreter::RunScope {
 public:
  explicit RunScope(Interpreter& interpreter) : m_interpreter(interpreter) {
    m_interpreter.m_steps = 0;
    m_interpreter.m_stackBase = reinterpret_cast<uintptr_t>(__builtin_frame_address(0));
  }
  ~RunScope() { m_interpreter.m_frame = &m_interpreter.m_global; }
  RunScope(const RunScope&) = delete;
  RunScope& operator=(const RunScope&) = delete;

 private:
  Interpreter& m_interpreter;
};

Interpreter::Interpreter() = default;
Interpreter::~Interpreter() = default;

void Interpreter::Run(const Program& program) {
  RunScope run(*this);
  for (const auto& procedure : program.procedures) m_procedures[procedure->name] = procedure;
  m_optionExplicit = m_optionExplicit || program.optionExplicit;
  ExecuteBlock(program.statements);
}

Value Interpreter::Evaluate(const Expr& expression) {
  RunScope run(*this);
  return Eval(expression);
}

void Interpreter::Step() {
  if (++m_steps > m_limits.maxSteps) {
    throw Error(kErrStepLimit, std::string(kRuntimeSource),
                "Script exceeded its run-time limit of " + std::to_string(m_limits.maxSteps) + " steps");
  }
}

// Long texts and arrays cost steps in proportion to their size, so that a loop that
// copies big values runs out of steps about as soon as it runs out of time.
void Interpreter::Charge(const Value& result) {
  size_t units = 0;
  if (const std::string* text = result.AsString()) units = text->size() / 4096;
  else if (const ScriptArray* array = AsArray(result)) units = array->items.size() / 64;
  if (units == 0) return;
  m_steps += static_cast<int64_t>(units);
  Step();
}

void Interpreter::CheckStack() const {
  const auto here = reinterpret_cast<uintptr_t>(__builtin_frame_address(0));
  if (here < m_stackBase && m_stackBase - here > m_limits.maxStackBytes) RaiseScriptError(kErrOutOfStackSpace);
}

Interpreter::Flow Interpreter::ExecuteBlock(const Block& block) {
  CheckStack();
  for (const StmtPtr& stmt : block) {
    Step();
    const Flow flow = Execute(*stmt);
    if (flow != Flow::kNormal) return flow;
  }
  return Flow::kNormal;
}

Interpreter::Flow Interpreter::Execute(const Stmt& stmt) {
  switch (stmt.kind) {
    case StmtKind::kAssign: Assign(stmt); return Flow::kNormal;
    case StmtKind::kCall: EvalCall(stmt.name, stmt.args, true); return Flow::kNormal;
    case StmtKind::kDim:
    case StmtKind::kReDim:
    case StmtKind::kConst: Declare(stmt); return Flow::kNormal;
    case StmtKind::kIf: return ExecuteIf(stmt);
    case StmtKind::kSelect: return ExecuteSelect(stmt);
    case StmtKind::kFor: return ExecuteFor(stmt);
    case StmtKind::kForEach: return ExecuteForEach(stmt);
    case StmtKind::kDo:
    case StmtKind::kWhile: return ExecuteDo(stmt);
    case StmtKind::kExit:
      switch (stmt.exit) {
        case ExitKind::kDo: return Flow::kExitDo;
        case ExitKind::kFor: return Flow::kExitFor;
        default: return Flow::kExitProcedure;
      }
    case StmtKind::kOptionExplicit: return Flow::kNormal;
  }
  return Flow::kNormal;
}

void Interpreter::Assign(const Stmt& stmt) {
  Value value = Eval(*stmt.value);
  if (stmt.isSet && !value.IsObject()) RaiseRuntimeError(kErrObjectRequired);
  if (stmt.args.empty()) {
    *VariableForWrite(stmt.name) = std::move(value);
    return;
  }
  // An element: the variable must hold an array, copied first if another variable
  // shares it.
  if (stmt.args.size() != 1) RaiseRuntimeError(kErrSubscriptRange);
  const Value index = Eval(*stmt.args[0]);
  Value* variable = FindVariable(stmt.name);
  ScriptArray* array = variable ? AsArray(*variable) : nullptr;
  if (!array) RaiseScriptError(kErrTypeMismatch, stmt.name);
  if (variable->AsObject()->use_count() > 1) {
    *variable = MakeArray(array->items);
    array = AsArray(*variable);
  }
  ArrayElement(*array, index) = std::move(value);
}

void Interpreter::Declare(const Stmt& stmt) {
  if (stmt.kind == StmtKind::kConst) {
    Value value = Eval(*stmt.value);
    *Declare(*m_frame, stmt.name) = std::move(value);
    m_frame->constants.insert(stmt.name);
    return;
  }
  for (const DimEntry& entry : stmt.dims) {
    Value* variable = stmt.kind == StmtKind::kReDim ? VariableForWrite(entry.name) : Declare(*m_frame, entry.name);
    if (!entry.isArray) continue;
    if (entry.bounds.size() > 1) RaiseRuntimeError(kErrSubscriptRange);  // one dimension only
    std::vector<Value> items;
    if (stmt.preserve) {
      if (const ScriptArray* old = AsArray(*variable)) items = old->items;
    }
    if (entry.bounds.size() == 1) {
      const int32_t upper = Eval(*entry.bounds[0]).ToLong();
      if (upper < -1) RaiseRuntimeError(kErrSubscriptRange);
      if (static_cast<size_t>(upper + 1) > m_limits.data.maxArray) RaiseRuntimeError(kErrOutOfMemory);
      items.resize(static_cast<size_t>(upper + 1));
    } else if (!stmt.preserve) {
      items.clear();
    }
    *variable = MakeArray(std::move(items));
    Charge(*variable);
  }
}

Interpreter::Flow Interpreter::ExecuteIf(const Stmt& stmt) {
  for (const Branch& branch : stmt.branches) {
    if (IsTrue(Eval(*branch.condition))) return ExecuteBlock(branch.body);
  }
  return stmt.hasElse ? ExecuteBlock(stmt.body) : Flow::kNormal;
}

Interpreter::Flow Interpreter::ExecuteSelect(const Stmt& stmt) {
  const Value subject = Eval(*stmt.value);
  const bool subjectLiteral = stmt.value->kind == ExprKind::kLiteral;
  for (const Branch& branch : stmt.branches) {
    for (const ExprPtr& candidate : branch.values) {
      const Value value = Eval(*candidate);
      const auto order = Compare({subject, subjectLiteral}, {value, candidate->kind == ExprKind::kLiteral});
      if (order && *order == 0) return ExecuteBlock(branch.body);
    }
  }
  return stmt.hasElse ? ExecuteBlock(stmt.body) : Flow::kNormal;
}

// Runs a loop's body once; `stop` is set when the loop ends here. The flow returned is
// what the loop hands on to its caller.
Interpreter::Flow Interpreter::LoopBody(const Block& body, Flow exitFlow, bool& stop) {
  Step();
  const Flow flow = ExecuteBlock(body);
  stop = flow != Flow::kNormal;
  return flow == exitFlow ? Flow::kNormal : flow;
}

Interpreter::Flow Interpreter::ExecuteFor(const Stmt& stmt) {
  const Value start = Eval(*stmt.from);
  const Value end = Eval(*stmt.to);
  const Value step = stmt.step ? Eval(*stmt.step) : Value(int16_t{1});
  const double last = end.ToDouble();
  const bool down = step.ToDouble() < 0;
  Value* counter = VariableForWrite(stmt.name);
  *counter = start;
  while (true) {
    const double now = counter->ToDouble();
    if (down ? now < last : now > last) return Flow::kNormal;
    bool stop = false;
    const Flow flow = LoopBody(stmt.body, Flow::kExitFor, stop);
    if (stop) return flow;
    *counter = ApplyBinary(Operator::kAdd, {*counter}, {step}, m_limits.data.maxText);
  }
}

Interpreter::Flow Interpreter::ExecuteForEach(const Stmt& stmt) {
  const Value collection = Eval(*stmt.from);
  const ScriptArray* array = AsArray(collection);
  if (!array) RaiseScriptError(kErrNotCollection);
  Value* element = VariableForWrite(stmt.name);
  for (const Value& item : array->items) {  // `collection` keeps the array alive
    *element = item;
    bool stop = false;
    const Flow flow = LoopBody(stmt.body, Flow::kExitFor, stop);
    if (stop) return flow;
  }
  return Flow::kNormal;
}

// Do While/Until ... Loop, Do ... Loop While/Until, Do ... Loop and While ... Wend.
Interpreter::Flow Interpreter::ExecuteDo(const Stmt& stmt) {
  const bool isWhileWend = stmt.kind == StmtKind::kWhile;
  auto proceed = [&] { return !stmt.value || IsTrue(Eval(*stmt.value)) != stmt.until; };
  while (true) {
    if (!stmt.conditionAfter && !proceed()) return Flow::kNormal;
    bool stop = false;
    const Flow flow = LoopBody(stmt.body, isWhileWend ? Flow::kNormal : Flow::kExitDo, stop);
    if (stop) return flow;
    if (stmt.conditionAfter && !proceed()) return Flow::kNormal;
  }
}

}  // namespace korad::vbscript
