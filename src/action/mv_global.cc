#include "action/mv_global.h"

#include "contracts/error.h"
#include "platform/date_time_converter.h"

namespace korad {

OleDate MVGLOBAL::UniversalToLocal(std::string_view universal) const {
  if (universal.empty()) return OleDate();
  const std::optional<OleDate> utc = DateTimeConverter::FromText(universal);
  if (!utc) RaiseRuntimeError(kErrTypeMismatch);
  return DateTimeConverter().UtcToLocal(*utc);
}

std::string MVGLOBAL::LocalToUniversal(OleDate local) const {
  return DateTimeConverter::ToUniversalText(DateTimeConverter().LocalToUtc(local));
}

}  // namespace korad
