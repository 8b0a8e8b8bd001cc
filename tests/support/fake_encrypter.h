// An encrypter without a key: its "cipher text" is the plain text behind a marker that
// names the scheme ("{fake4}secret"), so a test reads what was stored. With
// `keyUnreadable` set, Encrypt and Decrypt raise 70 as the real one does when its key
// file can't be opened; GetScheme and Crc need no key and still answer.
#pragma once

#include <string>

#include "contracts/error.h"
#include "platform/encrypter.h"

namespace korad::testing {

class FakeEncrypter final : public Encrypter {
 public:
  bool keyUnreadable = false;
  int encrypted = 0;  // calls of Encrypt that succeeded

  std::string Decrypt(std::string_view text) override {
    const int scheme = GetScheme(text);
    if (scheme < 0) return std::string(text);
    RaiseIfKeyUnreadable();
    return std::string(text.substr(Marker(scheme).size()));
  }
  std::string Encrypt(std::string_view plain, int scheme) override {
    if (scheme != 3 && scheme != 4) RaiseRuntimeError(kErrInvalidCall);
    RaiseIfKeyUnreadable();
    ++encrypted;
    return Marker(scheme) + std::string(plain);
  }
  int GetScheme(std::string_view text) override {
    for (int scheme : {3, 4}) {
      if (text.starts_with(Marker(scheme))) return scheme;
    }
    return -1;
  }
  int32_t Crc(std::string_view text) override { return Crc32Signed(text); }

  static std::string Marker(int scheme) { return "{fake" + std::to_string(scheme) + "}"; }

 private:
  void RaiseIfKeyUnreadable() const {
    if (!keyUnreadable) return;
    throw Error(kErrPermissionDenied, "",
                RuntimeErrorText(kErrPermissionDenied) + ": open(BIN/agent.key): Permission denied");
  }
};

}  // namespace korad::testing
