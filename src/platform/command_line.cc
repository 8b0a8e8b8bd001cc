// Splitting a command line into arguments: by the Windows rules, which the library's own
// command lines rely on, and by a shell's word rules, which a Linux administrator writes.
#include <string>
#include <string_view>
#include <vector>

#include "contracts/error.h"
#include "platform/process.h"

namespace korad {
namespace {

bool IsSeparator(char c) { return c == ' ' || c == '\t'; }

bool IsShellBlank(char c) { return c == ' ' || c == '\t' || c == '\n'; }

// The characters a backslash escapes inside double quotes.
bool EscapableInDoubleQuotes(char c) { return c == '$' || c == '`' || c == '"' || c == '\\' || c == '\n'; }

[[noreturn]] void RaiseUnclosed(std::string_view quote, size_t position) {
  RaiseLibraryError("the " + std::string(quote) + " quote at character " + std::to_string(position + 1) +
                    " is never closed");
}

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

std::vector<std::string> SplitShellWords(std::string_view commandLine) {
  std::vector<std::string> words;
  const size_t n = commandLine.size();
  size_t i = 0;
  for (;;) {
    // A backslash and line end between words is no word of its own.
    while (i < n && (IsShellBlank(commandLine[i]) || commandLine.substr(i, 2) == "\\\n")) {
      i += IsShellBlank(commandLine[i]) ? 1 : 2;
    }
    if (i == n) break;
    std::string word;
    while (i < n && !IsShellBlank(commandLine[i])) {
      const char c = commandLine[i];
      if (c == '\'') {
        const size_t close = commandLine.find('\'', i + 1);
        if (close == std::string_view::npos) RaiseUnclosed("single", i);
        word.append(commandLine.substr(i + 1, close - i - 1));
        i = close + 1;
      } else if (c == '"') {
        const size_t open = i++;
        for (;; ++i) {
          if (i >= n) RaiseUnclosed("double", open);
          if (commandLine[i] == '"') break;
          if (commandLine[i] == '\\' && i + 1 < n && EscapableInDoubleQuotes(commandLine[i + 1])) {
            if (commandLine[++i] != '\n') word += commandLine[i];
            continue;
          }
          word += commandLine[i];
        }
        ++i;
      } else if (c == '\\') {
        if (i + 1 == n) RaiseLibraryError("the line ends in a backslash that escapes nothing");
        if (commandLine[i + 1] != '\n') word += commandLine[i + 1];
        i += 2;
      } else {
        word += c;
        ++i;
      }
    }
    words.push_back(std::move(word));
  }
  return words;
}

}  // namespace korad
