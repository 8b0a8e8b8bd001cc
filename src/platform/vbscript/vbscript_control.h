// The script control of the agent: "MSScriptControl.ScriptControl" running the VBScript
// subset of this folder. Code added stays for the host's life; each AddCode,
// ExecuteStatement and Eval is one run, held to the limits below.
#pragma once

#include <cstdint>
#include <string>

#include "platform/script_control.h"
#include "platform/vbscript/interpreter.h"

namespace korad {

class VbScriptControl final : public ScriptControl {
 public:
  bool AllowUI() const override { return m_allowUI; }
  void SetAllowUI(bool allow) override { m_allowUI = allow; }
  std::string Language() const override { return m_language; }
  // "VBScript" in any case; any other language raises 5 naming it.
  void SetLanguage(std::string_view language) override;

  void AddCode(std::string_view code) override;
  void ExecuteStatement(std::string_view statement) override;
  Value Eval(std::string_view expression) override;

  // Steps are statements, loop turns and calls, plus a charge for long texts and arrays.
  // Past the limit a run fails with "Script exceeded its run-time limit of N steps".
  void SetStepLimit(int64_t steps) { m_interpreter.Limits().maxSteps = steps; }
  int64_t StepLimit() { return m_interpreter.Limits().maxSteps; }
  // Calls deeper than this fail with "Out of stack space" (28).
  void SetMaxCallDepth(int depth) { m_interpreter.Limits().maxCallDepth = depth; }
  // The longest text and largest array a script may make.
  void SetDataLimits(size_t maxText, size_t maxArray) {
    m_interpreter.Limits().data = vbscript::BuiltinLimits{maxText, maxArray};
  }

 private:
  void Run(std::string_view code);

  bool m_allowUI = true;
  std::string m_language = "VBScript";
  vbscript::Interpreter m_interpreter;
};

}  // namespace korad
