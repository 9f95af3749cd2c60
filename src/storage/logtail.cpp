#include "storage/logtail.h"

#include "base/descriptor.h"
#include "base/fileio.h"
#include "format/logfiles.h"
#include "format/logrecords.h"
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
#include <unistd.h>

namespace {

/** Copies [begin, end) of a file; `end` below 0 means to its end. */
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
        return ESPIPE; // something of somebody else's is in the way, and has no places to write to
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
    return ::fsync(to.number()) == 0 ? 0 : errno;
}

int readHeader(const std::filesystem::path& file, off_t offset, LogRecords::Header* header)
{
    const Base::Descriptor from(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
    if (!from.isOpen())
        return errno;
    *header = {};
    std::size_t got = 0;
    return Base::readAt(from.number(), offset, header, sizeof *header, &got);
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
    for (std::uint32_t file = from.file; file <= to.file; ++file) {
        std::filesystem::path source;
        if (const int rc = logFilePath(env, file, &source))
            return rc;
        const QByteArray copy = target + '/' + QByteArray::fromStdString(LogFiles::name(file));
        const off_t begin = file == from.file ? static_cast<off_t>(from.offset) : 0;
        const off_t end = file == to.file ? static_cast<off_t>(to.offset) : -1;
        if (const int rc = copyRange(QByteArray::fromStdString(source), copy, begin, end))
            return rc;
    }
    return 0;
}

int logFilePath(BDBEnv* env, std::uint32_t number, std::filesystem::path* path)
{
    const char* home = nullptr;
    if (const int rc = env->get_home(&home))
        return rc;
    *path = std::filesystem::path(home) / LogFiles::name(number);
    return 0;
}

int isOfLog(BDBEnv* env, std::uint32_t number, const std::filesystem::path& file, bool* isOf)
{
    *isOf = false;
    std::filesystem::path path;
    if (const int rc = logFilePath(env, number, &path))
        return rc;
    std::ifstream own(path, std::ios::binary);
    std::ifstream other(file, std::ios::binary);
    if (!own || !other)
        return own || errno == ENOENT ? 0 : errno;
    std::vector<char> owns(256 * 1024);
    std::vector<char> others(owns.size());
    while (other) {
        own.read(owns.data(), static_cast<std::streamsize>(owns.size()));
        other.read(others.data(), static_cast<std::streamsize>(others.size()));
        std::fill(owns.begin() + own.gcount(), owns.end(), '\0');
        for (std::streamsize i = 0; i < other.gcount(); ++i) {
            if (others[i] != 0 && others[i] != owns[i])
                return 0;
        }
    }
    *isOf = !other.bad() && !own.bad();
    return 0;
}

int followsLog(BDBEnv* env, std::uint32_t number, const std::filesystem::path& directory, bool* follows)
{
    *follows = false;
    std::filesystem::path path;
    LogRecords::Header first;
    LogRecords::Header last;
    LogRecords::Header behind;
    if (const int rc = logFilePath(env, number, &path))
        return rc;
    if (const int rc = readHeader(path, 0, &first))
        return rc;
    const std::filesystem::path before = directory / LogFiles::name(number - 1);
    if (const int rc = readHeader(before, first.previous, &last))
        return rc;
    if (const int rc = readHeader(before, static_cast<off_t>(first.previous) + last.length, &behind))
        return rc;
    // In a file of another log there may be anything at that place: it has to be a record that ends in the file.
    std::error_code error;
    const std::uint64_t size = std::filesystem::file_size(before, error);
    if (error)
        return error.value();
    *follows = last.length >= sizeof last && std::uint64_t{first.previous} + last.length <= size &&
               last.previous < first.previous && behind.length == 0;
    return 0;
}
