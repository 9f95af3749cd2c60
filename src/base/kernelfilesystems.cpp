#include "base/kernelfilesystems.h"

#include <linux/magic.h>
#include <sys/vfs.h>

bool Base::isOfKernel(const std::filesystem::path& directory)
{
    struct statfs system {};
    if (::statfs(directory.c_str(), &system) != 0)
        return false;
    switch (static_cast<unsigned long>(system.f_type)) {
    case PROC_SUPER_MAGIC:
    case SYSFS_MAGIC:
    case CGROUP_SUPER_MAGIC:
    case CGROUP2_SUPER_MAGIC:
    case DEBUGFS_MAGIC:
    case TRACEFS_MAGIC:
    case SECURITYFS_MAGIC:
    case DEVPTS_SUPER_MAGIC:
        return true;
    default:
        return false;
    }
}
