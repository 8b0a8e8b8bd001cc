#include "foundation/configuration.h"

namespace korad {

OleDate Configuration::ValueDate() const {
  if (auto date = ParseDate(m_value)) return *date;
  RaiseLibraryError("The value for key '" + m_key + "' could not be converted to a date");
}

double Configuration::ValueNumeric() const noexcept { return LeadingNumber(m_value); }

const DispatchTable<Configuration>& Configuration::Dispatch() {
  static const DispatchTable<Configuration> table = [] {
    DispatchTable<Configuration> t;
    t.Property("Key", [](Configuration& c) { return korad::Value(c.Key()); });
    t.Property("Value", [](Configuration& c) { return korad::Value(c.Value()); });
    t.Property("ValueDate", [](Configuration& c) { return korad::Value(c.ValueDate()); });
    t.Property("ValueNumeric", [](Configuration& c) { return korad::Value(c.ValueNumeric()); });
    return t;
  }();
  return table;
}

}  // namespace korad
