#include "platform/vbscript/vbscript_control.h"

#include "contracts/class_registry.h"
#include "contracts/error.h"
#include "contracts/text.h"
#include "platform/vbscript/parser.h"
#include "platform/vbscript/script_array.h"
#include "platform/vbscript/script_control_class.h"
#include "platform/vbscript/script_errors.h"

namespace korad {
namespace {

// Errors leave the host as the engine's: conversions of Value raise without a source,
// and anything that isn't an Error (memory) becomes one.
template <class Body>
auto AsScriptErrors(Body&& body) -> decltype(body()) {
  try {
    return body();
  } catch (...) {
    Error error = CurrentExceptionAsError();
    if (error.Source().empty()) {
      throw Error(error.Number(), std::string(vbscript::kRuntimeSource), error.Description());
    }
    throw error;
  }
}

}  // namespace

void VbScriptControl::SetLanguage(std::string_view language) {
  if (!EqualsNoCase(language, "VBScript")) vbscript::RaiseScriptError(kErrInvalidCall, language);
  m_language = "VBScript";
}

void VbScriptControl::Run(std::string_view code) {
  AsScriptErrors([&] {
    const vbscript::Program program = vbscript::ParseProgram(code);
    m_interpreter.Run(program);
  });
}

void VbScriptControl::AddCode(std::string_view code) { Run(code); }

void VbScriptControl::ExecuteStatement(std::string_view statement) { Run(statement); }

Value VbScriptControl::Eval(std::string_view expression) {
  return AsScriptErrors([&] {
    const vbscript::ExprPtr tree = vbscript::ParseExpression(expression);
    return m_interpreter.Evaluate(*tree);
  });
}

void RegisterScriptControl(ClassRegistry& registry) {
  registry.RegisterClass<VbScriptControl>(kScriptControlClassId);
}

}  // namespace korad
