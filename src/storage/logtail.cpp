#include "storage/logtail.h"

#include "format/backupnames.h"
#include "storage/bdbenv.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/** A file descriptor that is closed with the object. */
class File {
public:
    File(const QByteArray& path, int flags, mode_t mode = 0) : descriptor_(::open(path.constData(), flags, mode)) {}
    ~File()
    {
        if (descriptor_ >= 0)
            ::close(descriptor_);
    }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    bool isOpen() const { return descriptor_ >= 0; }
    int descriptor() const { return descriptor_; }

private:
    const int descriptor_;
};

bool writeAll(int descriptor, const char* data, std::size_t size, off_t offset)
{
    while (size > 0) {
        const ssize_t written = ::pwrite(descriptor, data, size, offset);
        if (written < 0)
            return false;
        data += written;
        size -= static_cast<std::size_t>(written);
        offset += written;
    }
    return true;
}

/** Copies [begin, end) of a file; `end` below 0 means to its end. */
int copyRange(const QByteArray& source, const QByteArray& target, off_t begin, off_t end)
{
    const File from(source, O_RDONLY | O_CLOEXEC);
    const File to(target, O_WRONLY | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (!from.isOpen() || !to.isOpen())
        return errno;
    std::vector<char> buffer(256 * 1024);
    for (off_t offset = begin; end < 0 || offset < end;) {
        const auto wanted = end < 0 ? buffer.size() : std::min(buffer.size(), static_cast<std::size_t>(end - offset));
        const ssize_t got = ::pread(from.descriptor(), buffer.data(), wanted, offset);
        if (got < 0)
            return errno;
        if (got == 0)
            break;
        if (!writeAll(to.descriptor(), buffer.data(), static_cast<std::size_t>(got), offset))
            return errno;
        offset += got;
    }
    return ::fsync(to.descriptor()) == 0 ? 0 : errno;
}

/** The numbers of the log files that log_archive() lists with `flags`, in ascending order. */
int listLogFiles(BDBEnv* env, u_int32_t flags, std::vector<std::uint32_t>* numbers)
{
    char** list = nullptr;
    if (const int rc = env->log_archive(&list, flags))
        return rc;
    for (char** name = list; name != nullptr && *name != nullptr; ++name) {
        if (const auto number = BackupNames::logNumber(*name))
            numbers->push_back(*number);
    }
    std::free(list);
    return 0;
}

} // namespace

int flushedLogPosition(BDBEnv* env, LogPosition* position)
{
    // The position first: what is flushed then reaches at least that far.
    DB_LOG_STAT* statistics = nullptr;
    if (const int rc = env->log_stat(&statistics, 0))
        return rc;
    *position = {statistics->st_cur_file, statistics->st_cur_offset};
    std::free(statistics);
    return env->log_flush(nullptr);
}

int firstLogFile(BDBEnv* env, std::uint32_t* number)
{
    std::vector<std::uint32_t> files;
    if (const int rc = listLogFiles(env, DB_ARCH_LOG, &files))
        return rc;
    *number = files.empty() ? 0 : files.front();
    return 0;
}

int firstNeededLogFile(BDBEnv* env, std::uint32_t* number)
{
    std::vector<std::uint32_t> unneeded;
    if (const int rc = listLogFiles(env, 0, &unneeded))
        return rc;
    if (unneeded.empty())
        return firstLogFile(env, number);
    *number = unneeded.back() + 1;
    return 0;
}

int copyLogRange(BDBEnv* env, const QByteArray& target, LogPosition from, LogPosition to)
{
    const char* home = nullptr;
    if (const int rc = env->get_home(&home))
        return rc;
    for (std::uint32_t file = from.file; file <= to.file; ++file) {
        const QByteArray name = '/' + QByteArray::fromStdString(BackupNames::logFile(file));
        const off_t begin = file == from.file ? static_cast<off_t>(from.offset) : 0;
        const off_t end = file == to.file ? static_cast<off_t>(to.offset) : -1;
        if (const int rc = copyRange(home + name, target + name, begin, end))
            return rc;
    }
    return 0;
}
