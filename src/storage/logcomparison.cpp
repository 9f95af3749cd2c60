#include "storage/logcomparison.h"

#include "base/descriptor.h"
#include "base/fileio.h"
#include "format/logfiles.h"
#include "format/logrecords.h"
#include "storage/logtail.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <fstream>
#include <system_error>
#include <vector>

#include <fcntl.h>

namespace LogComparison {

namespace {

int readHeader(const std::filesystem::path& file, off_t offset, LogRecords::RecordHeader* header)
{
    const Base::Descriptor from(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
    if (!from.isOpen())
        return errno;
    *header = {};
    std::size_t got = 0;
    return Base::readAt(from.number(), offset, header, sizeof *header, &got);
}

} // namespace

int isOfLog(BDBEnv* env, std::uint32_t number, const std::filesystem::path& file, bool* isOf)
{
    *isOf = false;
    std::filesystem::path path;
    if (const int rc = LogTail::filePath(env, number, &path))
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
    LogRecords::RecordHeader first;
    LogRecords::RecordHeader last;
    LogRecords::RecordHeader behind;
    if (const int rc = LogTail::filePath(env, number, &path))
        return rc;
    if (const int rc = readHeader(path, 0, &first))
        return rc;
    const std::filesystem::path before = directory / LogFiles::name(number - 1);
    if (const int rc = readHeader(before, first.previous, &last))
        return rc;
    if (const int rc = readHeader(before, static_cast<off_t>(first.previous) + last.length, &behind))
        return rc;
    // A file of another log may have anything at that offset: require a record that ends within the file.
    std::error_code error;
    const std::uint64_t size = std::filesystem::file_size(before, error);
    if (error)
        return error.value();
    *follows = last.length >= sizeof last && std::uint64_t{first.previous} + last.length <= size &&
               last.previous < first.previous && behind.length == 0;
    return 0;
}

} // namespace LogComparison
