#include "support/temp_home.h"

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace korad::testing {

TempHome::TempHome() {
  char pattern[] = "/tmp/korad-home-XXXXXX";
  if (mkdtemp(pattern) == nullptr) throw std::runtime_error("mkdtemp failed");
  m_path = pattern;
}

TempHome::~TempHome() {
  std::error_code ignored;
  std::filesystem::remove_all(m_path, ignored);
}

void WriteWholeFile(const std::string& path, const std::string& content) {
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

std::vector<std::string> ReadLines(const std::string& path) {
  std::vector<std::string> lines;
  std::ifstream in(path, std::ios::binary);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

}  // namespace korad::testing
