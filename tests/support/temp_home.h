// A fresh folder under /tmp for a test's agent home, removed with everything in it when
// the test ends.
#pragma once

#include <string>
#include <vector>

namespace korad::testing {

class TempHome {
 public:
  TempHome();
  ~TempHome();
  TempHome(const TempHome&) = delete;
  TempHome& operator=(const TempHome&) = delete;

  // No trailing separator.
  const std::string& Path() const { return m_path; }
  // Path() + "/" + relative.
  std::string operator/(const std::string& relative) const { return m_path + "/" + relative; }

 private:
  std::string m_path;
};

// Writes a whole file, creating its folders; replaces it by rename as the agent's own
// writers do, so a reader never sees half of it.
void WriteWholeFile(const std::string& path, const std::string& content);
// The file's lines without their line ends; empty when it is missing.
std::vector<std::string> ReadLines(const std::string& path);

}  // namespace korad::testing
