// The agent's secret key file: one line, "KORADKEY1:" followed by the 32 key bytes as 64
// lower-case hex digits and a line end, mode 0600. The key is made once, by whichever
// process first needs to encrypt; it is never rewritten or replaced, since every stored
// cipher text depends on it.
#pragma once

#include <array>
#include <optional>
#include <string>

namespace korad {

struct AgentKey {
  std::array<unsigned char, 32> bytes{};
  // Eight lower-case hex digits naming the key (from its SHA-256), written into every
  // cipher text so one made under another key is recognised as such.
  std::string id;
};

// The key held in `path`; nullopt if there is no such file. A file that isn't a key file
// raises the library's error and is left as it is.
std::optional<AgentKey> ReadAgentKey(const std::string& path);

// The key held in `path`, creating the file with a new random key if there is none. The
// new file is written under a temporary name and linked into place, so a process racing
// to create it either wins or reads the winner's key: one key results, never a mixture.
AgentKey ReadOrCreateAgentKey(const std::string& path);

}  // namespace korad
