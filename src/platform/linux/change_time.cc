#include "platform/linux/change_time.h"

#include <algorithm>

namespace korad {

bool ChangeTimeSettled(const struct stat& st, int64_t nowNanos) {
  static const int64_t kFineSettle = [] {
    struct timespec tick{};
    ::clock_getres(CLOCK_REALTIME_COARSE, &tick);
    return std::max<int64_t>(20'000'000, 2 * Nanos(tick));
  }();
  constexpr int64_t kCoarseSettle = 2'100'000'000;
  const bool coarse = st.st_mtim.tv_nsec == 0 && st.st_ctim.tv_nsec == 0;
  const int64_t lastChange = std::max(Nanos(st.st_mtim), Nanos(st.st_ctim));
  return nowNanos - lastChange > (coarse ? kCoarseSettle : kFineSettle);
}

}  // namespace korad
