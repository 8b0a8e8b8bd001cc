// mvSystem.Encrypter: enciphers stored secrets (ini connect strings under scheme 3,
// registry values under scheme 4) and computes the CRC of a text.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace korad {

class Encrypter {
 public:
  virtual ~Encrypter() = default;

  // The plain text of a cipher text of any scheme; a text that isn't cipher text comes
  // back unchanged. Raises the library's error for a damaged cipher text or a wrong key.
  virtual std::string Decrypt(std::string_view text) = 0;
  // The cipher text of `plain` under `scheme` (3 or 4), tagged with its scheme; raises
  // 5 for another scheme.
  virtual std::string Encrypt(std::string_view plain, int scheme) = 0;
  // -1 if the text isn't cipher text, otherwise its scheme.
  virtual int GetScheme(std::string_view text) = 0;
  // CRC-32 of the text's bytes as a signed 32-bit integer; stable across versions.
  virtual int32_t Crc(std::string_view text) = 0;
};

// The encrypter under the agent's key file `keyFile`. Encrypt creates a missing key file
// (mode 0600); Decrypt never does, and a damaged key file raises and is never replaced.
// A cipher text names the key it was made under, so one made under another key gives a
// clear error rather than garbage.
std::shared_ptr<Encrypter> MakeAesEncrypter(std::string keyFile);

// CRC-32 (zlib's) of the bytes, as a signed 32-bit integer.
int32_t Crc32Signed(std::string_view bytes);

}  // namespace korad
