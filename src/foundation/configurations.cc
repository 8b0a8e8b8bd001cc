#include "foundation/configurations.h"

#include "foundation/global_functions.h"
#include "platform/application.h"
#include "platform/platform.h"

namespace korad {

std::string Configurations::CompositeKey(std::string_view key) const {
  return StripSpaces(NormalizeKey(m_moniker) + NormalizeKey(key));
}

bool Configurations::Exists(std::string_view key) const {
  bool result = false;
  Guard("Configurations.Exists: ", [&] {
    const std::string wanted = NormalizeKey(key);
    for (const ConfigurationRef& c : m_current) {
      if (NormalizeKey(c->Key()) == wanted) {
        result = true;
        return;
      }
    }
  });
  return result;
}

bool Configurations::IsEmpty(std::string_view key) const {
  bool result = false;
  Guard("Configurations.IsEmpty: ", [&] {
    const std::string wanted = NormalizeKey(key);
    for (const ConfigurationRef& c : m_current) {
      if (NormalizeKey(c->Key()) == wanted && TrimBlanks(c->Value()).empty()) {
        result = true;
        return;
      }
    }
  });
  return result;
}

ConfigurationRef Configurations::Item(std::string_view key) const {
  ConfigurationRef result;
  Guard("Configurations.Item: ", [&] {
    if (!Exists(key)) RaiseLibraryError("The configuration '" + std::string(key) + "' could not be found");
    result = const_cast<Collection<ConfigurationRef>&>(m_current).Item(key);
  });
  return result;
}

int32_t Configurations::Count() const {
  int32_t result = 0;
  Guard("Configurations.Count(Get): ", [&] { result = m_current.Count(); });
  return result;
}

void Configurations::Add(std::string_view key, std::string_view value) {
  Guard("Configurations.Add: ", [&] {
    const std::string composite = CompositeKey(key);
    if (Exists(key)) {
      m_current.Item(key)->SetValue(std::string(value));
      return;
    }
    auto entry = std::make_shared<Configuration>();
    entry->SetConfigMoniker(m_moniker);
    entry->SetKey(std::string(key));
    entry->SetValue(std::string(value));
    entry->SetLogManager(GetLogManager());
    m_all.Add(entry, composite);
    m_current.Add(entry, key);
  });
}

void Configurations::SetConfigMoniker(std::string_view moniker) {
  Guard("Configurations.ConfigMoniker(Let): ", [&] {
    m_moniker = NormalizeKey(moniker).empty() ? std::string("Global") : std::string(moniker);
    while (m_current.Count() > 0) m_current.Remove(1);
    const std::string wanted = NormalizeKey(m_moniker);
    for (const ConfigurationRef& c : m_all) {
      if (NormalizeKey(c->ConfigMoniker()) == wanted) m_current.Add(c, c->Key());
    }
  });
}

void Configurations::ClearConfigs() {
  Guard("Configurations.ClearConfigs: ", [&] {
    m_current.Clear();
    m_all.Clear();
  });
}

int32_t Configurations::ServiceStatus() {
  int32_t result = 0;
  Guard("Configurations.ServiceStatus[Get]: ", [&] {
    if (m_runMode != ModeMorvane) {
      result = 1;
      return;
    }
    if (!m_application) m_application = &Platform::Current().GetApplication();
    result = m_application->Status() == kServiceRunning ? 1 : 0;
  });
  return result;
}

OleDate Configurations::UTCNow() const { return korad::UTCNow(); }

const DispatchTable<Configurations>& Configurations::Dispatch() {
  static const DispatchTable<Configurations> table = [] {
    DispatchTable<Configurations> t;
    t.Property("Count", [](Configurations& c) { return Value(c.Count()); });
    t.Property("LastRunTime", [](Configurations& c) { return Value(c.LastRunTime()); });
    t.Property("Frequency", [](Configurations& c) { return Value(c.Frequency()); });
    t.Property("Error", [](Configurations& c) { return Value(c.Error()); },
               [](Configurations& c, const Value& v) { c.SetError(v.ToText()); });
    t.Property("ServiceStatus", [](Configurations& c) { return Value(c.ServiceStatus()); });
    t.Property("AllowTaskTerminate", [](Configurations& c) { return Value(c.AllowTaskTerminate()); },
               [](Configurations& c, const Value& v) { c.SetAllowTaskTerminate(v.ToBoolean()); });
    t.Property("Settings", [](Configurations& c) { return Value(c.Settings()); },
               [](Configurations& c, const Value& v) { c.SetSettings(v.ToText()); });
    t.Property("WaitAlert", [](Configurations& c) { return Value(c.WaitAlert()); });
    t.Property("WaitResolve", [](Configurations& c) { return Value(c.WaitResolve()); });
    t.Property("WaitAlertUnits", [](Configurations& c) { return Value(c.WaitAlertUnits()); });
    t.Property("WaitResolveUnits", [](Configurations& c) { return Value(c.WaitResolveUnits()); });
    t.Property("UTCNow", [](Configurations& c) { return Value(c.UTCNow()); });
    t.Property("ConfigMoniker", [](Configurations& c) { return Value(c.ConfigMoniker()); },
               [](Configurations& c, const Value& v) { c.SetConfigMoniker(v.ToText()); });
    return t;
  }();
  return table;
}

}  // namespace korad
