#include "storage/madedirectories.h"

#include "base/directorylock.h"

#include <cerrno>

#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr mode_t Mode = S_IRWXU; // as Berkeley DB would make them, see set_intermediate_dir_mode

} // namespace

MadeDirectories::~MadeDirectories()
{
    for (; !made_.empty(); made_.pop_back()) {
        const char* const directory = made_.back().constData();
        Base::DirectoryLock lock; // an environment may be opening there
        if (lock.lock(directory) == 0)
            (void)::rmdir(directory); // fails if another request has created something in it
    }
}

int MadeDirectories::make(const QByteArray& base, const QByteArray& file)
{
    for (qsizetype slash = file.indexOf('/'); slash >= 0; slash = file.indexOf('/', slash + 1)) {
        const QByteArray directory = base + '/' + file.first(slash);
        if (::mkdir(directory.constData(), Mode) == 0)
            made_.push_back(directory);
        else if (errno != EEXIST)
            return errno;
    }
    return 0;
}
