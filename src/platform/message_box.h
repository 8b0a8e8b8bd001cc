// The message box of the debug run modes. There is no display on a service host, so the
// box becomes one line on standard error.
#pragma once

#include <string_view>

namespace korad {

void ShowMessageBox(std::string_view text);

}  // namespace korad
