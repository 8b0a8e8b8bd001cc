// The test that an attribute can travel in a message: it is put into an object map whose
// text form is then asked for. Forms are tested so before they join a collection, so
// that a value no message can carry fails there and not at sending time.
#pragma once

#include <string_view>

#include "contracts/value.h"
#include "platform/object_map.h"

namespace korad {

class MessageValueCheck {
 public:
  // Raises the library's error "There was a problem validating the attribute '" + key +
  // "': The description of the error was '" + cause + "'" for a value with no text form.
  void Validate(std::string_view key, const Value& value);

 private:
  // Grows with each pair, as one map of a whole form would.
  ObjectMap m_map;
};

}  // namespace korad
