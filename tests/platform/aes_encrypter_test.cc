// The encrypter as the agent meets it: secrets stored in ini and registry values that
// must read back after a restart, and a key file that is never lost or replaced.
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "contracts/error.h"
#include "platform/encrypter.h"
#include "support/error_number.h"
#include "support/temp_folder.h"

namespace korad {
namespace {

using korad::testing::ReadBytes;
using korad::testing::WriteBytes;

// The description of the library error the call raises; fails the test for anything else.
template <class F>
std::string LibraryErrorOf(F&& call) {
  try {
    call();
  } catch (const Error& e) {
    EXPECT_EQ(e.Number(), kLibraryError) << e.Description();
    return e.Description();
  }
  ADD_FAILURE() << "no error raised";
  return {};
}

class AesEncrypterTest : public ::testing::Test {
 protected:
  std::string KeyPath(const char* name = "agent.key") { return m_temp.Path(name); }

  korad::testing::TempFolder m_temp;
};

TEST_F(AesEncrypterTest, BothSchemesRoundTripAndSurviveARestart) {
  const std::vector<std::string> plains = {"", "secret", "Provider=SQL;Password=p@ss\r\nnext",
                                           std::string("nul\0byte", 8), "\xC3\xA9t\xC3\xA9", std::string(5000, 'x')};
  std::vector<std::pair<int, std::string>> made;
  {
    auto encrypter = MakeAesEncrypter(KeyPath());
    for (int scheme : {3, 4}) {
      for (const auto& plain : plains) {
        std::string cipher = encrypter->Encrypt(plain, scheme);
        EXPECT_EQ(encrypter->GetScheme(cipher), scheme);
        EXPECT_EQ(encrypter->Decrypt(cipher), plain);
        // Fit for an ini or registry value: printable, no "=", ";" or line end.
        for (char c : cipher) {
          EXPECT_TRUE(c > ' ' && c < 0x7F && c != '=' && c != ';') << cipher;
        }
        made.emplace_back(scheme, std::move(cipher));
      }
    }
    // A fresh nonce each time: equal plain texts don't give equal cipher texts.
    EXPECT_NE(encrypter->Encrypt("same", 3), encrypter->Encrypt("same", 3));
  }
  auto restarted = MakeAesEncrypter(KeyPath());
  for (size_t i = 0; i < made.size(); ++i) {
    EXPECT_EQ(restarted->GetScheme(made[i].second), made[i].first);
    EXPECT_EQ(restarted->Decrypt(made[i].second), plains[i % plains.size()]);
  }
}

TEST_F(AesEncrypterTest, OnlyTheExactAuthenticFormCountsAsCipherText) {
  auto encrypter = MakeAesEncrypter(KeyPath());
  const std::string cipher = encrypter->Encrypt("payload", 3);
  const std::string body = cipher.substr(14, cipher.size() - 15);  // after "{KE3:xxxxxxxx:"
  const std::string keyId = cipher.substr(5, 8);
  const std::vector<std::string> plains = {
      "", "{hello}", "{}", "{KE3:}", "plain text", "{KE3:" + keyId + ":}",
      cipher + " ", " " + cipher, cipher.substr(0, cipher.size() - 1), "{KE5:" + keyId + ":" + body + "}",
      "{KE3:" + keyId + "!" + body + "}", "{KE3:ABCDEF01:" + body + "}", "{KE3:" + keyId + ":" + body + "=}",
      "{KE3:" + keyId + ":" + body.substr(0, 20) + "}",  // too short for nonce and tag
  };
  for (const auto& text : plains) {
    EXPECT_EQ(encrypter->GetScheme(text), -1) << text;
    EXPECT_EQ(encrypter->Decrypt(text), text);
  }

  // A changed character fails authentication; so does relabelling the scheme.
  std::string flipped = cipher;
  flipped[20] = flipped[20] == 'A' ? 'B' : 'A';
  EXPECT_NE(LibraryErrorOf([&] { encrypter->Decrypt(flipped); }).find("damaged"), std::string::npos);
  std::string relabelled = cipher;
  relabelled[3] = '4';
  EXPECT_EQ(encrypter->GetScheme(relabelled), 4);
  EXPECT_NE(LibraryErrorOf([&] { encrypter->Decrypt(relabelled); }).find("damaged"), std::string::npos);
}

// Plain text and refused schemes never make a key; a missing, damaged or foreign key is
// an error that leaves the key file as it was.
TEST_F(AesEncrypterTest, KeyFileIsMadeOnlyByAnEncryptAndNeverRepaired) {
  auto encrypter = MakeAesEncrypter(KeyPath());
  EXPECT_EQ(encrypter->Decrypt("{hello}"), "{hello}");
  EXPECT_EQ(encrypter->GetScheme("{hello}"), -1);
  for (int scheme : {0, 1, 2, 5, -1}) {
    EXPECT_EQ(testing::NumberOf([&] { encrypter->Encrypt("x", scheme); }), kErrInvalidCall) << scheme;
  }
  EXPECT_FALSE(std::filesystem::exists(KeyPath()));

  const std::string cipher = encrypter->Encrypt("secret", 3);
  const std::string good = ReadBytes(KeyPath());
  std::filesystem::remove(KeyPath());
  auto afterLoss = MakeAesEncrypter(KeyPath());
  EXPECT_EQ(LibraryErrorOf([&] { afterLoss->Decrypt(cipher); }),
            "Key file " + KeyPath() + " is missing; cipher texts made under it cannot be read");
  EXPECT_FALSE(std::filesystem::exists(KeyPath()));

  const std::vector<std::string> damaged = {
      "", "garbage", good.substr(0, good.size() - 3) + "\n", good + "x", "KORADKEY1:" + std::string(64, 'G') + "\n",
      "KORADKEY2:" + good.substr(10)};
  for (const auto& content : damaged) {
    WriteBytes(KeyPath(), content);
    auto reader = MakeAesEncrypter(KeyPath());
    EXPECT_NE(LibraryErrorOf([&] { reader->Decrypt(cipher); }).find("Key file " + KeyPath() + " is damaged"),
              std::string::npos);
    EXPECT_NE(LibraryErrorOf([&] { reader->Encrypt("new", 3); }).find("is damaged"), std::string::npos);
    EXPECT_EQ(ReadBytes(KeyPath()), content);
  }

  auto other = MakeAesEncrypter(KeyPath("two.key"));
  other->Encrypt("makes its own key", 3);
  const std::string message = LibraryErrorOf([&] { other->Decrypt(cipher); });
  EXPECT_EQ(message.rfind("Cipher text was made under another key (key id " + cipher.substr(5, 8), 0), 0u) << message;
}

// Processes that start together and all encrypt must end up sharing one private key,
// whatever the umask.
TEST_F(AesEncrypterTest, RacingCreatorsEndWithOnePrivateKey) {
  constexpr int kProcesses = 4;
  const mode_t previous = ::umask(0);
  std::vector<pid_t> children;
  for (int p = 0; p < kProcesses; ++p) {
    pid_t pid = ::fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
      try {
        const std::string cipher = MakeAesEncrypter(KeyPath())->Encrypt("from " + std::to_string(p), 3);
        WriteBytes(m_temp.Path("out" + std::to_string(p)), cipher);
        ::_exit(0);
      } catch (...) {
        ::_exit(1);
      }
    }
    children.push_back(pid);
  }
  ::umask(previous);
  for (pid_t pid : children) {
    int status = 0;
    ::waitpid(pid, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  }
  auto reader = MakeAesEncrypter(KeyPath());
  for (int p = 0; p < kProcesses; ++p) {
    EXPECT_EQ(reader->Decrypt(ReadBytes(m_temp.Path("out" + std::to_string(p)))), "from " + std::to_string(p));
  }
  struct stat st {};
  ASSERT_EQ(::stat(KeyPath().c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0600u);
  const std::string content = ReadBytes(KeyPath());
  EXPECT_EQ(content.size(), 10u + 64u + 1u);
  EXPECT_EQ(content.rfind("KORADKEY1:", 0), 0u);
  // No temporary key files are left behind.
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(m_temp.Path()), {}), kProcesses + 1);
}

TEST(Crc32, StandardCheckValueAsSigned) {
  EXPECT_EQ(Crc32Signed("123456789"), -873187034);  // 0xCBF43926
  EXPECT_EQ(Crc32Signed(""), 0);
  EXPECT_EQ(MakeAesEncrypter("/nonexistent/agent.key")->Crc("123456789"), -873187034);
}

}  // namespace
}  // namespace korad
