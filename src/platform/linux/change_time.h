// When a file's or folder's change time can be trusted to move at the next change.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <ctime>

namespace korad {

inline int64_t Nanos(const struct timespec& time) {
  return static_cast<int64_t>(time.tv_sec) * 1000000000 + time.tv_nsec;
}

inline int64_t RealTimeNanos() {
  struct timespec now;
  ::clock_gettime(CLOCK_REALTIME, &now);
  return Nanos(now);
}

// True when any change after `nowNanos` (read before the stat) gives the object a later
// status change time than `st` shows. The kernel stamps changes from its coarse clock
// (one tick, 1 to 10 ms) truncated to the file system's granularity: 1 ns on ext4, xfs,
// btrfs and tmpfs, 1 or 2 s on older ones, whose times then carry no fraction. Once the
// last change lies further back than both, a later one can't carry the same time.
// A clock set back by more than that defeats it.
bool ChangeTimeSettled(const struct stat& st, int64_t nowNanos);

}  // namespace korad
