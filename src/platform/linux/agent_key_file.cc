#include "platform/linux/agent_key_file.h"

#include <fcntl.h>
#include <openssl/evp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>

#include "contracts/error.h"
#include "platform/environment.h"
#include "platform/linux/locked_file.h"
#include "platform/linux/posix_error.h"
#include "platform/platform.h"

namespace korad {
namespace {

constexpr std::string_view kPrefix = "KORADKEY1:";
constexpr char kHexDigits[] = "0123456789abcdef";
constexpr size_t kKeyHexLength = 64;

std::string Hex(const unsigned char* bytes, size_t count) {
  std::string out;
  for (size_t i = 0; i < count; ++i) {
    out.push_back(kHexDigits[bytes[i] >> 4]);
    out.push_back(kHexDigits[bytes[i] & 0xF]);
  }
  return out;
}

int LowerHexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

std::string KeyId(const std::array<unsigned char, 32>& key) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  if (EVP_Digest(key.data(), key.size(), digest, &length, EVP_sha256(), nullptr) != 1) {
    RaiseLibraryError("Could not compute the key id of the agent's key");
  }
  return Hex(digest, 4);
}

[[noreturn]] void RaiseDamaged(const std::string& path, std::string_view why) {
  RaiseLibraryError("Key file " + path + " is damaged (" + std::string(why) +
                    "); it is left as it is, and cipher texts made under it cannot be read");
}

AgentKey ParseKeyFile(const std::string& path, std::string_view content) {
  if (!content.empty() && content.back() == '\n') content.remove_suffix(1);
  if (content.size() != kPrefix.size() + kKeyHexLength || content.substr(0, kPrefix.size()) != kPrefix) {
    RaiseDamaged(path, "not a key line of " + std::to_string(kPrefix.size() + kKeyHexLength) + " characters");
  }
  std::string_view hex = content.substr(kPrefix.size());
  AgentKey key;
  for (size_t i = 0; i < key.bytes.size(); ++i) {
    const int hi = LowerHexValue(hex[2 * i]);
    const int lo = LowerHexValue(hex[2 * i + 1]);
    if (hi < 0 || lo < 0) RaiseDamaged(path, "the key is not hex digits");
    key.bytes[i] = static_cast<unsigned char>(hi * 16 + lo);
  }
  key.id = KeyId(key.bytes);
  return key;
}

// Writes the key to a new private file of its own; the name is unique to this attempt.
std::string WriteTemporaryKeyFile(const std::string& path, const std::array<unsigned char, 32>& key) {
  unsigned char salt[6];
  Platform::Current().GetEnvironment().RandomBytes(salt);
  const std::string tempPath = path + "." + std::to_string(::getpid()) + "." + Hex(salt, sizeof salt) + ".tmp";
  locked_file::UniqueFd fd(::open(tempPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  if (!fd.Valid()) RaisePosixError("open", errno, tempPath);
  try {
    // The umask can only narrow 0600, but a default ACL on the folder could widen it.
    if (::fchmod(fd.Get(), 0600) != 0) RaisePosixError("fchmod", errno, tempPath);
    locked_file::WriteAll(fd.Get(), std::string(kPrefix) + Hex(key.data(), key.size()) + "\n", tempPath);
    if (::fsync(fd.Get()) != 0) RaisePosixError("fsync", errno, tempPath);
  } catch (...) {
    ::unlink(tempPath.c_str());
    throw;
  }
  return tempPath;
}

// Makes the new name durable: losing the key after a crash would orphan every cipher text
// made under it. Best effort, as the key is already in place.
void SyncFolderOf(const std::string& path) {
  const size_t slash = path.find_last_of('/');
  const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash == 0 ? 1 : slash);
  locked_file::UniqueFd fd(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (fd.Valid()) ::fsync(fd.Get());
}

}  // namespace

std::optional<AgentKey> ReadAgentKey(const std::string& path) {
  auto content = locked_file::ReadIfExists(path);
  if (!content) return std::nullopt;
  return ParseKeyFile(path, *content);
}

AgentKey ReadOrCreateAgentKey(const std::string& path) {
  // A key file deleted between a lost race and the reread sends us round again.
  for (int attempt = 0; attempt < 3; ++attempt) {
    if (auto existing = ReadAgentKey(path)) return *existing;

    AgentKey key;
    Platform::Current().GetEnvironment().RandomBytes(key.bytes);
    key.id = KeyId(key.bytes);
    const std::string tempPath = WriteTemporaryKeyFile(path, key.bytes);
    // link() fails if the name exists, unlike rename(): the first process to arrive wins.
    const int linked = ::link(tempPath.c_str(), path.c_str());
    const int linkErrno = errno;
    ::unlink(tempPath.c_str());
    if (linked == 0) {
      SyncFolderOf(path);
      return key;
    }
    if (linkErrno != EEXIST) RaisePosixError("link", linkErrno, path);
  }
  RaiseLibraryError("Key file " + path + " keeps disappearing while it is being created");
}

}  // namespace korad
