#include "korad_linux/mount_selection.h"

#include <algorithm>
#include <iterator>
#include <string>

namespace korad {

bool IsPseudoFileSystem(std::string_view type) {
  static constexpr std::string_view kPseudo[] = {
      "autofs",   "binfmt_misc", "bpf",     "cgroup",  "cgroup2",   "configfs", "debugfs",
      "devpts",   "devtmpfs",    "efivarfs", "fusectl", "hugetlbfs", "mqueue",   "nsfs",
      "proc",     "pstore",      "ramfs",   "rpc_pipefs", "securityfs", "selinuxfs", "squashfs",
      "sysfs",    "tmpfs",       "tracefs", "fuse.gvfsd-fuse", "fuse.portal"};
  return std::find(std::begin(kPseudo), std::end(kPseudo), type) != std::end(kPseudo);
}

const MountEntry* FindMount(const std::vector<MountEntry>& mounts, std::string_view mountPoint) {
  for (auto it = mounts.rbegin(); it != mounts.rend(); ++it) {
    if (it->mountPoint == mountPoint) return &*it;
  }
  return nullptr;
}

std::vector<MountEntry> DiskMounts(const std::vector<MountEntry>& mounts) {
  std::vector<MountEntry> selected;
  for (const MountEntry& mount : mounts) {
    if (IsPseudoFileSystem(mount.fileSystemType)) continue;
    if (FindMount(mounts, mount.mountPoint) != &mount) continue;
    const bool realDevice = mount.device.starts_with('/');
    const bool deviceSeen = realDevice && std::any_of(selected.begin(), selected.end(), [&](const MountEntry& m) {
                              return m.device == mount.device;
                            });
    if (!deviceSeen) selected.push_back(mount);
  }
  return selected;
}

}  // namespace korad
