#include "base/fileio.h"

#include "base/descriptor.h"

#include <algorithm>
#include <cerrno>
#include <limits>

#include <fcntl.h>
#include <unistd.h>

namespace Base {

namespace {

/** Calls `write`, an `ssize_t(std::string_view)` that returns a system call's result, until all bytes are written. */
template <typename Write> int writePieces(std::string_view bytes, Write write)
{
    while (!bytes.empty()) {
        const ssize_t written = write(bytes);
        if (written < 0)
            return errno;
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return 0;
}

} // namespace

int readAll(int descriptor, std::size_t most, std::string* bytes)
{
    constexpr std::size_t PieceSize = 64 * 1024;
    while (most > 0) {
        const std::size_t before = bytes->size();
        const std::size_t wanted = std::min(most, PieceSize);
        bytes->resize(before + wanted);
        const ssize_t got = ::read(descriptor, bytes->data() + before, wanted);
        const int error = errno;
        bytes->resize(before + static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
        if (got <= 0)
            return got < 0 ? error : 0;
        most -= static_cast<std::size_t>(got);
    }
    return 0;
}

int readFile(const std::filesystem::path& path, std::string* bytes)
{
    bytes->clear();
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    return file.isOpen() ? readAll(file.number(), std::numeric_limits<std::size_t>::max(), bytes) : errno;
}

int readAt(int descriptor, off_t offset, void* buffer, std::size_t size, std::size_t* got)
{
    *got = 0;
    while (*got < size) {
        const ssize_t piece =
            ::pread(descriptor, static_cast<char*>(buffer) + *got, size - *got, offset + static_cast<off_t>(*got));
        if (piece <= 0)
            return piece < 0 ? errno : 0;
        *got += static_cast<std::size_t>(piece);
    }
    return 0;
}

int writeAll(int descriptor, std::string_view bytes)
{
    return writePieces(bytes,
                       [descriptor](std::string_view rest) { return ::write(descriptor, rest.data(), rest.size()); });
}

int writeAllAt(int descriptor, off_t offset, std::string_view bytes)
{
    const std::size_t size = bytes.size();
    return writePieces(bytes, [&](std::string_view rest) {
        return ::pwrite(descriptor, rest.data(), rest.size(), offset + static_cast<off_t>(size - rest.size()));
    });
}

} // namespace Base
