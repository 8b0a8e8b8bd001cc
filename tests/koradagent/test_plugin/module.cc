// A plug-in for the loader's tests. It links none of the library: creating an
// IncidentForms and logging through a LogManager only work if the program that loads it
// exports the library's symbols.
#include <memory>
#include <string>

#include "contracts/class_registry.h"
#include "contracts/object.h"
#include "foundation/log_manager.h"
#include "incident/incident_forms.h"

namespace {

using namespace korad;

class PluginProbe final : public Dispatchable<PluginProbe> {
 public:
  static constexpr std::string_view kClassId = "KoradTest.PluginProbe";
  std::string_view ClassId() const noexcept override { return kClassId; }

  static const DispatchTable<PluginProbe>& Dispatch() {
    static const DispatchTable<PluginProbe> table = [] {
      DispatchTable<PluginProbe> t;
      t.Property("Label", [](PluginProbe& p) { return Value(p.m_label); },
                 [](PluginProbe& p, const Value& v) { p.m_label = v.ToText(); });
      t.Property("FormCount", [](PluginProbe& p) { return Value(p.m_formCount); });
      t.Property("FirstResource", [](PluginProbe& p) { return Value(p.m_firstResource); });
      t.Call("Init", [](PluginProbe& p) {
        p.Init();
        return Value();
      });
      t.Call("Execute", [](PluginProbe& p) {
        p.Execute();
        return Value();
      });
      return t;
    }();
    return table;
  }

 private:
  void Init() {
    auto forms = CreateObjectAs<IncidentForms>("KORADevServices.IncidentForms");
    forms->Add(m_label, "made by a plug-in");
    m_formCount = forms->Count();
    m_firstResource = forms->CurrentForm() ? forms->CurrentForm()->Resource() : std::string();
  }
  void Execute() {
    LogManager log;
    log.Log("plug-in probe '" + m_label + "' executed", "KoradTestPlugin", logLevelInfo);
  }

  std::string m_label;
  int32_t m_formCount = 0;
  std::string m_firstResource;
};

}  // namespace

extern "C" void KoradRegister(korad::ClassRegistry& registry) {
  registry.RegisterClass<PluginProbe>(PluginProbe::kClassId);
}
