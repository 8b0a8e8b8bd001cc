// Names, calls and expressions. A name is looked up as a variable of the procedure, then
// of the global scope, then as a procedure of the script, then as a built-in.
#include <string>

#include "contracts/error.h"
#include "platform/vbscript/interpreter.h"
#include "platform/vbscript/operators.h"
#include "platform/vbscript/script_array.h"
#include "platform/vbscript/script_errors.h"

namespace korad::vbscript {
namespace {

bool IsLiteral(const Expr& e) {
  return e.kind == ExprKind::kLiteral ||
         (e.kind == ExprKind::kUnary && e.op == Operator::kNeg && e.left->kind == ExprKind::kLiteral);
}

}  // namespace

// A procedure's scope for the length of its call.
class Interpreter::CallScope {
 public:
  CallScope(Interpreter& interpreter, Frame& frame) : m_interpreter(interpreter), m_caller(interpreter.m_frame) {
    m_interpreter.m_frame = &frame;
    ++m_interpreter.m_callDepth;
  }
  ~CallScope() {
    m_interpreter.m_frame = m_caller;
    --m_interpreter.m_callDepth;
  }
  CallScope(const CallScope&) = delete;
  CallScope& operator=(const CallScope&) = delete;

 private:
  Interpreter& m_interpreter;
  Frame* m_caller;
};

Value Interpreter::Eval(const Expr& e) {
  CheckStack();
  switch (e.kind) {
    case ExprKind::kLiteral: return e.literal;
    case ExprKind::kName: return EvalName(e);
    case ExprKind::kCall: return EvalCall(e.name, e.args, false);
    case ExprKind::kParen: return Eval(*e.left);
    case ExprKind::kIndex: {
      const Value array = Eval(*e.left);
      ScriptArray* items = AsArray(array);
      if (!items) RaiseRuntimeError(kErrTypeMismatch);
      if (e.args.size() != 1) RaiseRuntimeError(kErrSubscriptRange);
      return ArrayElement(*items, Eval(*e.args[0]));
    }
    case ExprKind::kUnary: return ApplyUnary(e.op, Eval(*e.left));
    case ExprKind::kBinary: {
      const Value left = Eval(*e.left);
      const Value right = Eval(*e.right);
      Value result = ApplyBinary(e.op, {left, IsLiteral(*e.left)}, {right, IsLiteral(*e.right)},
                                 m_limits.data.maxText);
      if (e.op == Operator::kConcat || e.op == Operator::kAdd) Charge(result);
      return result;
    }
  }
  return Value();
}

Value Interpreter::EvalName(const Expr& e) {
  if (const Value* variable = FindVariable(e.name)) return *variable;
  if (const Procedure* procedure = FindProcedure(e.name)) return CallProcedure(*procedure, e.args);
  if (const Builtin* builtin = FindBuiltin(e.name)) return CallBuiltin(*builtin, e.args);
  if (m_optionExplicit) RaiseScriptError(kErrVariableUndefined, e.name);
  return Value();
}

Value Interpreter::EvalCall(const std::string& name, const std::vector<ExprPtr>& args, bool asStatement) {
  // Inside a function its own name with arguments is a recursive call, not the result.
  if (!IsCurrentFunction(name)) {
    if (const Value* variable = FindVariable(name)) {
      const ScriptArray* array = AsArray(*variable);
      if (!array || asStatement) RaiseScriptError(kErrTypeMismatch, name);
      if (args.size() != 1) RaiseRuntimeError(kErrSubscriptRange);
      const Value index = Eval(*args[0]);
      // The index may have replaced the variable's array; look it up again.
      ScriptArray* now = AsArray(*FindVariable(name));
      if (!now) RaiseScriptError(kErrTypeMismatch, name);
      return ArrayElement(*now, index);
    }
  }
  if (const Procedure* procedure = FindProcedure(name)) return CallProcedure(*procedure, args);
  if (const Builtin* builtin = FindBuiltin(name)) return CallBuiltin(*builtin, args);
  RaiseScriptError(kErrTypeMismatch, name);
}

Value Interpreter::CallProcedure(const Procedure& procedure, const std::vector<ExprPtr>& args) {
  if (args.size() != procedure.params.size()) RaiseScriptError(kErrWrongArguments, procedure.name);
  if (m_callDepth >= m_limits.maxCallDepth) RaiseScriptError(kErrOutOfStackSpace);
  Step();
  CheckStack();
  Frame frame;
  frame.procedure = &procedure;
  for (size_t i = 0; i < args.size(); ++i) {
    const Parameter& param = procedure.params[i];
    const Expr& arg = *args[i];
    // ByRef to a plain variable shares it; anything else is a copy of the value.
    if (param.byRef && arg.kind == ExprKind::kName) {
      if (Value* variable = FindVariable(arg.name)) {
        frame.names[param.name] = variable;
        continue;
      }
    }
    Value value = Eval(arg);
    *Declare(frame, param.name) = std::move(value);
  }
  Value* result = procedure.isFunction ? Declare(frame, procedure.name) : nullptr;
  CallScope scope(*this, frame);
  ExecuteBlock(procedure.body);
  return result ? std::move(*result) : Value();
}

Value Interpreter::CallBuiltin(const Builtin& builtin, const std::vector<ExprPtr>& args) {
  if (args.size() < builtin.minArgs || args.size() > builtin.maxArgs) {
    RaiseScriptError(kErrWrongArguments, builtin.name);
  }
  Step();
  std::vector<Value> values;
  values.reserve(args.size());
  for (const ExprPtr& arg : args) values.push_back(Eval(*arg));
  Value result = builtin.function(values, m_limits.data);
  Charge(result);
  return result;
}

Value* Interpreter::FindVariable(std::string_view name) {
  auto it = m_frame->names.find(name);
  if (it != m_frame->names.end()) return it->second;
  if (m_frame != &m_global) {
    it = m_global.names.find(name);
    if (it != m_global.names.end()) return it->second;
  }
  return nullptr;
}

Value* Interpreter::VariableForWrite(const std::string& name) {
  for (Frame* frame : {m_frame, &m_global}) {
    const auto it = frame->names.find(name);
    if (it == frame->names.end()) continue;
    if (frame->constants.count(name)) RaiseScriptError(kErrIllegalAssignment, name);
    return it->second;
  }
  if (FindProcedure(name) || FindBuiltin(name)) RaiseScriptError(kErrIllegalAssignment, name);
  if (m_optionExplicit) RaiseScriptError(kErrVariableUndefined, name);
  return Declare(*m_frame, name);
}

Value* Interpreter::Declare(Frame& frame, const std::string& name) {
  const auto it = frame.names.find(name);
  if (it != frame.names.end()) return it->second;
  Value* slot = &frame.storage.emplace_back();
  frame.names.emplace(name, slot);
  return slot;
}

const Procedure* Interpreter::FindProcedure(std::string_view name) const {
  const auto it = m_procedures.find(name);
  return it == m_procedures.end() ? nullptr : it->second.get();
}

bool Interpreter::IsCurrentFunction(std::string_view name) const {
  return m_frame->procedure && m_frame->procedure->isFunction && EqualsNoCase(m_frame->procedure->name, name);
}

}  // namespace korad::vbscript
