// The programs a command action may start. AllowedPrograms lists absolute paths of
// programs, and folders ending in "/" whose programs (in the folder or below it) may all
// run. The list and the program are both compared by their resolved paths, with ".",
// ".." and symbolic links followed, so that neither "/usr/bin/../../tmp/x" nor a link
// in a listed folder that points elsewhere gets out of the list.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace korad {

class MonitorKeys;

class AllowedPrograms {
 public:
  // Reads AllowedPrograms; an empty list or an entry that isn't absolute raises the
  // configuration error. Entries that don't exist allow nothing.
  explicit AllowedPrograms(const MonitorKeys& keys);

  // True when the resolved path `program` is a listed program or lies in a listed folder.
  bool Allows(std::string_view program) const;

 private:
  std::vector<std::string> m_programs;
  std::vector<std::string> m_folders;  // each ending in "/"
};

}  // namespace korad
