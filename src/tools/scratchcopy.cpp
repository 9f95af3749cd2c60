#include "tools/scratchcopy.h"

#include "base/descriptor.h"
#include "tools/filecopy.h"
#include "tools/interruption.h"
#include "tools/messages.h"
#include "tools/workdirectories.h"

#include <cerrno>
#include <cstring>
#include <system_error>

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace Ctl {

namespace {

/** Makes a new file share the content of an existing one. False if the file system cannot do that. */
bool shareContent(const fs::path& from, const fs::path& to)
{
    const Base::Descriptor source(::open(from.c_str(), O_RDONLY | O_CLOEXEC));
    const Base::Descriptor target(::open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
    if (source.isOpen() && target.isOpen() && ::ioctl(target.number(), FICLONE, source.number()) == 0)
        return true;
    std::error_code ignored;
    fs::remove(to, ignored);
    return false;
}

void removeIfLeft(const fs::path& directory)
{
    Base::DirectoryLock lock;
    std::error_code error;
    if (lock.lock(directory) == 0 && fs::remove_all(directory, error) > 0 && !error)
        complain("removed " + directory.string() + ", left by an interrupted check");
}

} // namespace

ScratchCopy::~ScratchCopy()
{
    std::error_code ignored; // then it remains, under a name that says what it is
    if (!path_.empty())
        fs::remove_all(path_, ignored);
}

std::string ScratchCopy::make(const fs::path& from, const std::vector<std::string>& names, const fs::path& above,
                              const std::function<void(std::size_t done, std::size_t all)>& progress)
{
    const fs::path beginning = above / "quorvactl-check-";
    for (const fs::path& left : WorkDirectories::find(beginning))
        removeIfLeft(left);
    if (const int error = WorkDirectories::make(beginning, &path_, &lock_))
        return "cannot make a copy in " + above.string() + ": " + std::strerror(error);
    for (std::size_t i = 0; i < names.size() && !Interruption::requested(); ++i) {
        progress(i, names.size());
        const fs::path to = path_ / names[i];
        std::error_code failure;
        fs::create_directories(to.parent_path(), failure);
        LeadingChecksum unused(0);
        if (!failure && shareContent(from / names[i], to))
            continue;
        const int error = failure ? failure.value() : copyFile(from / names[i], to, &unused);
        if (error != 0 && error != EINTR)
            return "cannot copy " + names[i] + " to " + path_.string() + ": " + std::strerror(error);
    }
    return {};
}

} // namespace Ctl
