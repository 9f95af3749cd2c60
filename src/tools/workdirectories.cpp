#include "tools/workdirectories.h"

#include "base/directoryentries.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <string>
#include <system_error>

namespace fs = std::filesystem;

namespace WorkDirectories {

namespace {

constexpr std::size_t UniqueLength = 6; // of mkdtemp's suffix

} // namespace

int make(const fs::path& beginning, fs::path* made, Base::DirectoryLock* lock)
{
    for (;;) {
        std::string name = beginning.string() + std::string(UniqueLength, 'X');
        if (::mkdtemp(name.data()) == nullptr)
            return errno;
        *made = name;
        const int rc = lock->lock(*made);
        const bool isTaken = rc == EWOULDBLOCK || rc == ENOENT || (rc == 0 && !lock->isAt(*made));
        if (!isTaken) // by another command, to which it looked abandoned
            return 0;
    }
}

std::vector<fs::path> find(const fs::path& beginning)
{
    const std::string first = beginning.filename().string();
    std::vector<fs::path> found;
    // Ignored: in a directory that cannot be read, creating one fails too, with its own message.
    (void)Base::forEachEntry(beginning.parent_path(), [&](const fs::directory_entry& entry) {
        const std::string name = entry.path().filename().string();
        std::error_code vanished;
        if (name.size() == first.size() + UniqueLength && name.starts_with(first) &&
            entry.symlink_status(vanished).type() == fs::file_type::directory)
            found.push_back(entry.path());
        return 0;
    });
    std::sort(found.begin(), found.end());
    return found;
}

} // namespace WorkDirectories
