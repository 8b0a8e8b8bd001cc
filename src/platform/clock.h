// The clock: UTC now, local/UTC conversion and the tick count. Tests replace it with
// a fake that they drive, since every schedule depends on time.
#pragma once

#include <cstdint>
#include <memory>

#include "contracts/ole_date.h"

namespace korad {

class Clock {
 public:
  virtual ~Clock() = default;

  // The present time in UTC, at millisecond precision.
  virtual OleDate UtcNow() = 0;

  // Conversion between UTC and the system's local time zone, daylight saving included.
  // A local time that falls into a gap or fold is mapped as the C library maps it.
  virtual OleDate UtcToLocal(OleDate utc) = 0;
  virtual OleDate LocalToUtc(OleDate local) = 0;

  // Milliseconds since boot as a 32-bit integer that wraps, as the host's tick count does.
  virtual int32_t TickCount() = 0;

  // Blocks the calling thread; a fake clock advances its time instead.
  virtual void Sleep(int32_t milliseconds) = 0;

  OleDate LocalNow() { return UtcToLocal(UtcNow()); }
};

// The machine's clock and time zone.
std::shared_ptr<Clock> MakeSystemClock();

}  // namespace korad
