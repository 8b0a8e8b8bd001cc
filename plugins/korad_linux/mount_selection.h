// Which mounted file systems hold disk space worth watching or listing.
#pragma once

#include <string_view>
#include <vector>

#include "platform/system_facts.h"

namespace korad {

// File system types that hold no disk data of their own (proc, sysfs, tmpfs, cgroup,
// squashfs images that are always full, ...).
bool IsPseudoFileSystem(std::string_view type);

// The mount in force at `mountPoint`: the last one in the table; null when none.
const MountEntry* FindMount(const std::vector<MountEntry>& mounts, std::string_view mountPoint);

// The disk-backed mounts, in table order: pseudo file systems left out, a mount point
// mounted over counted once (the mount in force), and a device once, at its first mount
// point, since its bind mounts show the same space.
std::vector<MountEntry> DiskMounts(const std::vector<MountEntry>& mounts);

}  // namespace korad
