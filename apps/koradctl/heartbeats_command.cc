#include "heartbeats_command.h"

#include <string>

#include "contracts/error.h"
#include "ctl_format.h"
#include "ctl_options.h"
#include "platform/file_system.h"
#include "platform/platform.h"
#include "platform/profile.h"

namespace korad::ctl {

int Heartbeats(std::ostream& out) {
  const std::string path = Platform::Current().HomeDirectory() + "/Serialize/MonitorHeartbeats.SER";
  if (!Platform::Current().GetFileSystem().Exists(path)) {
    RaiseLibraryError("no heartbeat file " + path + ": no monitor has sent a heartbeat yet");
  }
  for (const std::string& module : GetPrivateProfileSectionNames(path)) {
    WriteHeartbeat(out, module, GetPrivateProfileString(module, "HBDate", "", path),
                   GetPrivateProfileString(module, "CurrentError", "", path));
  }
  return kExitOk;
}

}  // namespace korad::ctl
