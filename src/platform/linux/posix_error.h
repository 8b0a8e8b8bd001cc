// The one place where errno becomes a korad::Error.
#pragma once

#include <string_view>

#include "contracts/error.h"

namespace korad {

// The runtime error for a failed system call on `path`: ENOENT is 53 (76 when the folder
// itself is missing), ENOTDIR 76, EACCES/EPERM 70, ENOSPC/EDQUOT/EFBIG 61, EEXIST 58, any
// other 75. The description keeps the call, the errno text and the path:
// "File not found: open(/x/y): No such file or directory".
Error PosixError(std::string_view call, int err, std::string_view path);

// Raises PosixError(call, err, path).
[[noreturn]] void RaisePosixError(std::string_view call, int err, std::string_view path);

}  // namespace korad
