// heartbeats: what each monitor module last wrote into <home>/Serialize/MonitorHeartbeats.SER.
#pragma once

#include <ostream>

namespace korad::ctl {

// Raises korad::Error when the file doesn't exist.
int Heartbeats(std::ostream& out);

}  // namespace korad::ctl
