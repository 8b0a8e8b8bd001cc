// Schemes 3 and 4 as AES-256-GCM under the agent's key file (see agent_key_file.h).
//
// Text form of a cipher text, all printable ASCII without "=", ";", "\r" or "\n", so it
// can stand as an ini or registry value:
//
//   "{KE" scheme ":" keyId ":" base64url(nonce | cipher | tag) "}"
//   e.g. {KE3:1a2b3c4d:Qm9...}
//
// scheme is "3" or "4"; keyId is the key's eight lower-case hex digits; the payload is the
// 12-byte random nonce, the cipher bytes and the 16-byte tag, in unpadded base64url
// (A-Z a-z 0-9 "-" "_"). The text before the payload ("{KE3:1a2b3c4d:") is authenticated
// too, so changing the scheme or key id of a cipher text makes it fail to decrypt.
// Only texts in exactly this form are cipher text; anything else is plain.
#include <openssl/evp.h>

#include <climits>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "contracts/error.h"
#include "platform/base64.h"
#include "platform/encrypter.h"
#include "platform/environment.h"
#include "platform/linux/agent_key_file.h"
#include "platform/platform.h"

namespace korad {
namespace {

constexpr size_t kNonceSize = 12;
constexpr size_t kTagSize = 16;
constexpr size_t kKeyIdSize = 8;
constexpr std::string_view kMarker = "{KE";
bool IsLowerHex(std::string_view text) {
  return text.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

struct CipherText {
  int scheme = 0;
  std::string_view header;  // "{KE3:1a2b3c4d:", the authenticated prefix
  std::string_view keyId;
  std::string payload;      // nonce | cipher | tag
};

std::optional<CipherText> ParseCipherText(std::string_view text) {
  const size_t headerSize = kMarker.size() + 2 + kKeyIdSize + 1;
  if (text.size() < headerSize + 1 || text.substr(0, kMarker.size()) != kMarker || text.back() != '}') {
    return std::nullopt;
  }
  CipherText parsed;
  const char scheme = text[kMarker.size()];
  if ((scheme != '3' && scheme != '4') || text[kMarker.size() + 1] != ':' || text[headerSize - 1] != ':') {
    return std::nullopt;
  }
  parsed.scheme = scheme - '0';
  parsed.header = text.substr(0, headerSize);
  parsed.keyId = text.substr(kMarker.size() + 2, kKeyIdSize);
  if (!IsLowerHex(parsed.keyId)) return std::nullopt;
  auto payload = Base64UrlDecode(text.substr(headerSize, text.size() - headerSize - 1));
  if (!payload || payload->size() < kNonceSize + kTagSize) return std::nullopt;
  parsed.payload = std::move(*payload);
  return parsed;
}

using CipherContext = std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)>;

CipherContext NewContext() {
  CipherContext ctx(EVP_CIPHER_CTX_new(), &EVP_CIPHER_CTX_free);
  if (!ctx) RaiseLibraryError("Could not create a cipher context");
  return ctx;
}

int ByteCount(size_t size) {
  if (size > static_cast<size_t>(INT_MAX)) RaiseLibraryError("Text too long to encrypt");
  return static_cast<int>(size);
}

unsigned char* Bytes(std::string& s) { return reinterpret_cast<unsigned char*>(s.data()); }
const unsigned char* Bytes(std::string_view s) { return reinterpret_cast<const unsigned char*>(s.data()); }

std::string Seal(const AgentKey& key, std::string_view header, std::string_view plain) {
  std::string payload(kNonceSize + plain.size() + kTagSize, '\0');
  unsigned char* nonce = Bytes(payload);
  Platform::Current().GetEnvironment().RandomBytes({nonce, kNonceSize});
  CipherContext ctx = NewContext();
  int length = 0;
  if (EVP_EncryptInit_ex(ctx.get(), EVP_aes_256_gcm(), nullptr, key.bytes.data(), nonce) != 1 ||
      EVP_EncryptUpdate(ctx.get(), nullptr, &length, Bytes(header), ByteCount(header.size())) != 1 ||
      EVP_EncryptUpdate(ctx.get(), nonce + kNonceSize, &length, Bytes(plain), ByteCount(plain.size())) != 1 ||
      EVP_EncryptFinal_ex(ctx.get(), nonce + kNonceSize + length, &length) != 1 ||
      EVP_CIPHER_CTX_ctrl(ctx.get(), EVP_CTRL_GCM_GET_TAG, static_cast<int>(kTagSize),
                          nonce + kNonceSize + plain.size()) != 1) {
    RaiseLibraryError("Encryption failed");
  }
  return payload;
}

std::optional<std::string> Open(const AgentKey& key, const CipherText& cipher) {
  const size_t plainSize = cipher.payload.size() - kNonceSize - kTagSize;
  const auto* nonce = Bytes(std::string_view(cipher.payload));
  std::string plain(plainSize, '\0');
  std::string tag(cipher.payload.substr(kNonceSize + plainSize));
  CipherContext ctx = NewContext();
  int length = 0;
  if (EVP_DecryptInit_ex(ctx.get(), EVP_aes_256_gcm(), nullptr, key.bytes.data(), nonce) != 1 ||
      EVP_DecryptUpdate(ctx.get(), nullptr, &length, Bytes(cipher.header), ByteCount(cipher.header.size())) != 1 ||
      EVP_DecryptUpdate(ctx.get(), Bytes(plain), &length, nonce + kNonceSize, ByteCount(plainSize)) != 1 ||
      EVP_CIPHER_CTX_ctrl(ctx.get(), EVP_CTRL_GCM_SET_TAG, static_cast<int>(kTagSize), Bytes(tag)) != 1 ||
      EVP_DecryptFinal_ex(ctx.get(), Bytes(plain) + length, &length) != 1) {
    return std::nullopt;
  }
  return plain;
}

class AesEncrypter final : public Encrypter {
 public:
  explicit AesEncrypter(std::string keyFile) : m_keyFile(std::move(keyFile)) {}

  std::string Decrypt(std::string_view text) override {
    auto cipher = ParseCipherText(text);
    if (!cipher) return std::string(text);
    const AgentKey& key = ExistingKey();
    if (cipher->keyId != key.id) {
      RaiseLibraryError("Cipher text was made under another key (key id " + std::string(cipher->keyId) +
                        "; this agent's key id is " + key.id + ")");
    }
    auto plain = Open(key, *cipher);
    if (!plain) {
      RaiseLibraryError("Cipher text is damaged: it fails authentication under key id " + key.id);
    }
    return std::move(*plain);
  }

  std::string Encrypt(std::string_view plain, int scheme) override {
    if (scheme != 3 && scheme != 4) RaiseRuntimeError(kErrInvalidCall);
    const AgentKey& key = KeyCreatingIfMissing();
    const std::string header = std::string(kMarker) + std::to_string(scheme) + ":" + key.id + ":";
    return header + Base64UrlEncode(Seal(key, header, plain)) + "}";
  }

  int GetScheme(std::string_view text) override {
    auto cipher = ParseCipherText(text);
    return cipher ? cipher->scheme : -1;
  }

  int32_t Crc(std::string_view text) override { return Crc32Signed(text); }

 private:
  // The key is read once and then never changes, so a reference to it stays good. A
  // missing file isn't remembered, as another process may create it.
  const AgentKey& ExistingKey() {
    std::lock_guard lock(m_mutex);
    if (!m_key) m_key = ReadAgentKey(m_keyFile);
    if (!m_key) RaiseLibraryError("Key file " + m_keyFile + " is missing; cipher texts made under it cannot be read");
    return *m_key;
  }

  const AgentKey& KeyCreatingIfMissing() {
    std::lock_guard lock(m_mutex);
    if (!m_key) m_key = ReadOrCreateAgentKey(m_keyFile);
    return *m_key;
  }

  const std::string m_keyFile;
  std::mutex m_mutex;
  std::optional<AgentKey> m_key;
};

}  // namespace

std::shared_ptr<Encrypter> MakeAesEncrypter(std::string keyFile) {
  return std::make_shared<AesEncrypter>(std::move(keyFile));
}

}  // namespace korad
