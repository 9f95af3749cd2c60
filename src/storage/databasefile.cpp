#include "storage/databasefile.h"

#include "base/descriptor.h"
#include "base/fileio.h"

#include <cerrno>
#include <cstddef>

#include <fcntl.h>

namespace DatabaseFile {

namespace {

/** `size` bytes, or fewer at the end of the file; not of anything that would block. */
int readPart(const std::filesystem::path& path, std::size_t offset, void* bytes, std::size_t size, std::size_t* got)
{
    const Base::Descriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    return file.isOpen() ? Base::readAt(file.number(), static_cast<off_t>(offset), bytes, size, got) : errno;
}

} // namespace

int readStart(const std::filesystem::path& file, std::optional<DatabasePage::Start>* start)
{
    start->reset();
    DatabasePage::Start read;
    std::size_t got = 0;
    if (const int rc = readPart(file, 0, &read, sizeof read, &got))
        return rc;
    if (got == sizeof read && DatabasePage::isMagic(read.magic))
        *start = read;
    return 0;
}

bool isDatabase(const std::filesystem::path& file)
{
    std::optional<DatabasePage::Start> start;
    return readStart(file, &start) == 0 && start.has_value();
}

std::string id(const std::filesystem::path& file)
{
    std::string bytes(DatabasePage::IdLength, '\0');
    std::size_t got = 0;
    const bool isWhole =
        readPart(file, DatabasePage::IdOffset, bytes.data(), bytes.size(), &got) == 0 && got == bytes.size();
    return isWhole ? bytes : std::string();
}

} // namespace DatabaseFile
