// The Windows rules for splitting a command line into arguments, which configurations
// written for the agent's home platform rely on.
#include <string>
#include <string_view>
#include <vector>

#include "platform/process.h"

namespace korad {
namespace {

bool IsSeparator(char c) { return c == ' ' || c == '\t'; }

}  // namespace

std::vector<std::string> SplitCommandLine(std::string_view commandLine) {
  std::vector<std::string> arguments;
  size_t i = 0;
  const size_t n = commandLine.size();
  while (i < n && IsSeparator(commandLine[i])) ++i;
  if (i == n) return arguments;

  // The program name: quotes group, backslashes are path separators.
  std::string program;
  if (commandLine[i] == '"') {
    ++i;
    while (i < n && commandLine[i] != '"') program += commandLine[i++];
    if (i < n) ++i;  // the closing quote ends the name, even before a non-blank
  } else {
    while (i < n && !IsSeparator(commandLine[i])) program += commandLine[i++];
  }
  arguments.push_back(std::move(program));

  for (;;) {
    while (i < n && IsSeparator(commandLine[i])) ++i;
    if (i == n) break;
    std::string argument;
    bool quoted = false;
    while (i < n && (quoted || !IsSeparator(commandLine[i]))) {
      const char c = commandLine[i];
      if (c == '\\') {
        size_t slashes = 0;
        while (i < n && commandLine[i] == '\\') {
          ++slashes;
          ++i;
        }
        if (i < n && commandLine[i] == '"') {
          argument.append(slashes / 2, '\\');
          if (slashes % 2 == 1) {
            argument += '"';
            ++i;
          }
          // An even count leaves the quote mark to act below.
        } else {
          argument.append(slashes, '\\');
        }
        continue;
      }
      if (c == '"') {
        if (quoted && i + 1 < n && commandLine[i + 1] == '"') {
          argument += '"';
          i += 2;
          continue;
        }
        quoted = !quoted;
        ++i;
        continue;
      }
      argument += c;
      ++i;
    }
    arguments.push_back(std::move(argument));
  }
  return arguments;
}

}  // namespace korad
