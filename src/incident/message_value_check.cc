#include "incident/message_value_check.h"

#include "contracts/error.h"

namespace korad {

void MessageValueCheck::Validate(std::string_view key, const Value& value) {
  try {
    m_map.Add(key, value);
    (void)m_map.Xml();
  } catch (...) {
    RaiseLibraryError("There was a problem validating the attribute '" + std::string(key) +
                      "': The description of the error was '" + CurrentExceptionAsError().Description() + "'");
  }
}

}  // namespace korad
