// A private folder under the system's temporary folder, removed with all it holds: a
// test's agent home, or a place for a test's or benchmark's files. Header-only, so the
// benchmarks use it too.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace korad::testing {

class TempFolder {
 public:
  TempFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "korad-test-XXXXXX").string();
    if (!::mkdtemp(pattern.data())) throw std::runtime_error("mkdtemp failed");
    m_path = pattern;
  }
  ~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  const std::string& Path() const { return m_path; }
  std::string Path(const std::string& name) const { return m_path + "/" + name; }
  std::string operator/(const std::string& relative) const { return Path(relative); }

 private:
  std::string m_path;
};

// The agent home of a test is such a folder.
using TempHome = TempFolder;

inline std::string ReadBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

inline void WriteBytes(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

// Writes a whole file, creating its folders; replaces it by rename as the agent's own
// writers do, so a reader never sees half of it.
inline void WriteWholeFile(const std::string& path, const std::string& content) {
  const std::filesystem::path target(path);
  std::filesystem::create_directories(target.parent_path());
  const std::string temp = path + ".tmp";
  {
    std::ofstream out(temp, std::ios::binary | std::ios::trunc);
    out << content;
    if (!out) throw std::runtime_error("cannot write " + temp);
  }
  std::filesystem::rename(temp, target);
}

// The file's lines without their line ends; empty when it is missing.
inline std::vector<std::string> ReadLines(const std::string& path) {
  std::vector<std::string> lines;
  std::ifstream in(path, std::ios::binary);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

}  // namespace korad::testing
