// The script host "MSScriptControl.ScriptControl": evaluates the VBScript subset that
// schedule scripts and the script library (mvScripts.mvs) are written in. One host serves
// one evaluation; code added with AddCode stays for the host's life.
#pragma once
#include <string>
#include <string_view>
#include "contracts/object.h"
#include "contracts/value.h"

namespace korad {

inline constexpr std::string_view kScriptControlClassId = "MSScriptControl.ScriptControl";

class ScriptControl : public Object {
 public:
  std::string_view ClassId() const noexcept override { return kScriptControlClassId; }

  // Dialogs are never shown on an agent; the flag is kept for callers that set it.
  virtual bool AllowUI() const = 0;
  virtual void SetAllowUI(bool allow) = 0;
  // "VBScript" is the one language; any other raises.
  virtual std::string Language() const = 0;
  virtual void SetLanguage(std::string_view language) = 0;

  // Each raises a korad::Error whose number and description are those the script
  // engine reports ("Syntax error", "Type mismatch", "Variable is undefined", ...).
  // Parses `code` (statements, Function and Sub blocks) and runs its top-level statements.
  virtual void AddCode(std::string_view code) = 0;
  // Parses and runs one statement, such as "UTCNow = #2026-11-23 10:00:00#".
  virtual void ExecuteStatement(std::string_view statement) = 0;
  // Evaluates one expression in the host's global scope.
  virtual Value Eval(std::string_view expression) = 0;
};

}  // namespace korad
