// An exclusive lock on a folder, held against other threads and processes.
//
// Ini writers lock the folder of the ini rather than the ini itself: the ini is replaced
// by a rename, so a lock on its old inode would guard nothing once the first writer
// renames. The folder outlives every rename; the writer resolves the file's name while
// holding it, so writers that spell the name differently ("MVAGENT.INI", "MvAgent.ini")
// still meet in one file even when the first of them creates it; and no lock file ever
// appears among the files that the agent lists and transfers. Writers of different inis
// in one folder wait for each other, which costs little: each holds it for one rewrite.
#pragma once

#include <string>

namespace korad {

class FolderLock {
 public:
  // Blocks until the lock is held. A missing folder is not locked (there is nothing a
  // writer could create in it); other failures raise.
  explicit FolderLock(const std::string& folder);
  FolderLock(const FolderLock&) = delete;
  FolderLock& operator=(const FolderLock&) = delete;
  ~FolderLock();

 private:
  int m_fd = -1;  // its own open file description, so threads of one process exclude each other too
};

}  // namespace korad
