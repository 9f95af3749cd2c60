#include "storage/logtail.h"

#include "base/descriptor.h"
#include "base/fileio.h"
#include "base/filesync.h"
#include "format/logfiles.h"
#include "storage/bdbenv.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <fstream>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>

namespace LogTail {

namespace {

/** Copies [begin, end) of a file; a negative `end` means the end of the file. */
int copyRange(const QByteArray& source, const QByteArray& target, off_t begin, off_t end)
{
    const Base::Descriptor from(::open(source.constData(), O_RDONLY | O_CLOEXEC));
    const Base::Descriptor to(::open(target.constData(), O_WRONLY | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR));
    if (!from.isOpen() || !to.isOpen())
        return errno;
    struct stat status;
    if (::fstat(to.number(), &status) != 0)
        return errno;
    if (!S_ISREG(status.st_mode))
        return ESPIPE; // a foreign file is in the way, and it is not seekable
    std::vector<char> buffer(256 * 1024);
    for (off_t offset = begin; end < 0 || offset < end;) {
        const auto wanted = end < 0 ? buffer.size() : std::min(buffer.size(), static_cast<std::size_t>(end - offset));
        std::size_t got = 0;
        if (const int rc = Base::readAt(from.number(), offset, buffer.data(), wanted, &got))
            return rc;
        if (const int rc = Base::writeAllAt(to.number(), offset, {buffer.data(), got}))
            return rc;
        offset += static_cast<off_t>(got);
        if (got < wanted)
            break;
    }
    return Base::syncToDisk(to.number());
}

/** The numbers of the log files that log_archive() lists with `flags`, in ascending order. */
int listLogFiles(BDBEnv* env, u_int32_t flags, std::vector<std::uint32_t>* numbers)
{
    char** list = nullptr;
    if (const int rc = env->log_archive(&list, flags))
        return rc;
    for (char** name = list; name != nullptr && *name != nullptr; ++name) {
        if (const auto number = LogFiles::numberOf(*name))
            numbers->push_back(*number);
    }
    std::free(list);
    return 0;
}

} // namespace

int flushedPosition(BDBEnv* env, LogPosition* position)
{
    // Read the position first: the flush then reaches at least that far.
    DB_LOG_STAT* statistics = nullptr;
    if (const int rc = env->log_stat(&statistics, 0))
        return rc;
    *position = {statistics->st_cur_file, statistics->st_cur_offset};
    std::free(statistics);
    return env->log_flush(nullptr);
}

int firstFile(BDBEnv* env, std::uint32_t* number)
{
    std::vector<std::uint32_t> files;
    if (const int rc = listLogFiles(env, DB_ARCH_LOG, &files))
        return rc;
    *number = files.empty() ? 0 : files.front();
    return 0;
}

int firstNeededFile(BDBEnv* env, std::uint32_t* number)
{
    std::vector<std::uint32_t> unneeded;
    if (const int rc = listLogFiles(env, 0, &unneeded))
        return rc;
    if (unneeded.empty())
        return firstFile(env, number);
    *number = unneeded.back() + 1;
    return 0;
}

int copyRange(BDBEnv* env, const QByteArray& target, LogPosition from, LogPosition to)
{
    for (std::uint32_t file = from.file; file <= to.file; ++file) {
        std::filesystem::path source;
        if (const int rc = filePath(env, file, &source))
            return rc;
        const QByteArray copy = target + '/' + QByteArray::fromStdString(LogFiles::name(file));
        const off_t begin = file == from.file ? static_cast<off_t>(from.offset) : 0;
        const off_t end = file == to.file ? static_cast<off_t>(to.offset) : -1;
        if (const int rc = copyRange(QByteArray::fromStdString(source), copy, begin, end))
            return rc;
    }
    return 0;
}

int filePath(BDBEnv* env, std::uint32_t number, std::filesystem::path* path)
{
    const char* home = nullptr;
    if (const int rc = env->get_home(&home))
        return rc;
    *path = std::filesystem::path(home) / LogFiles::name(number);
    return 0;
}

} // namespace LogTail
