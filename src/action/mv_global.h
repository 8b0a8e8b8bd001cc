// MVGLOBAL: the agent's global helper, as far as the action model uses it: the two date
// conversions behind the event's legacy local-time properties. Universal texts are
// "YYYY-MM-DDTHH:MM:SSZ".
#pragma once

#include <string>
#include <string_view>

#include "contracts/ole_date.h"

namespace korad {

class MVGLOBAL {
 public:
  // The local date of a universal text; date 0 for an empty text. Text that isn't a
  // date raises 13 (type mismatch).
  OleDate UniversalToLocal(std::string_view universal) const;
  // The universal text of a local date.
  std::string LocalToUniversal(OleDate local) const;
};

}  // namespace korad
