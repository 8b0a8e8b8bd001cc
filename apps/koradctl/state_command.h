// state show MODULE: a monitor's state file and form file, decoded by the serializers
// the monitor itself uses.
#pragma once

#include <ostream>
#include <string_view>

namespace korad::ctl {

// `location` is the folder of the files; empty means the SerializeLocation of the
// module's MvAgent.ini section, else <home>/Serialize. Problems the serializers log
// while reading go to `err` and make the result 1; raises korad::Error when neither
// file exists.
int StateShow(std::string_view module, std::string_view location, std::ostream& out, std::ostream& err);

}  // namespace korad::ctl
