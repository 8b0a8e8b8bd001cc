// The enumerations shared by the library, its host and its plug-ins.
#pragma once

#include <cstdint>

namespace korad {

enum RunMode : int32_t { ModeMorvane = 0, ModeDebug = 1, ModeUnitTester = 2 };

enum AlertStatusEnum : int32_t { AlertOff = 0, AlertOn = 1, AlertOnce = 2, AlertOffPending = 3 };

enum PurgeModeEnum : int32_t { NoPurge = 0, AutoPurge = 1 };

// Lower is more severe; logLevelDefault (-1) sits below them all, so every test of the
// kind "level at most 2" takes it as an error.
enum KORADSLog_Level : int32_t {
  logLevelDefault = -1,
  logLevelNone = 0,
  logLevelException = 1,
  logLevelError = 2,
  logLevelWarningHigh = 3,
  logLevelWarningMedium = 4,
  logLevelWarningLow = 5,
  logLevelInfo = 6,
  logLevelDebug = 7,
};

// 4 and 6 are deliberately unassigned: the server knows these numbers.
enum SystemUpateStatus : int32_t {
  NotInstalled = 1,
  Failure = 2,
  Pending = 3,
  Submitted = 5,
  installed = 7,
  Hidden = 8,
  Reboot = 9,
  Downloading = 10,
  Installing = 11,
  ErrorDownloading = 12,
};

}  // namespace korad
