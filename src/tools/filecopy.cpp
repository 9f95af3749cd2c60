#include "tools/filecopy.h"

#include "base/descriptor.h"
#include "tools/interruption.h"

#include <cerrno>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace Ctl {

namespace {

int writeAll(int descriptor, const char* data, std::size_t size)
{
    while (size > 0) {
        const ssize_t written = ::write(descriptor, data, size);
        if (written < 0)
            return errno;
        data += written;
        size -= static_cast<std::size_t>(written);
    }
    return 0;
}

} // namespace

int copyFile(const fs::path& from, const fs::path& to, LeadingChecksum* leading)
{
    const Base::Descriptor source(::open(from.c_str(), O_RDONLY | O_CLOEXEC));
    if (!source.isOpen())
        return errno;
    const Base::Descriptor target(::open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
    if (!target.isOpen())
        return errno;
    std::vector<char> buffer(1024 * 1024);
    while (!Interruption::requested()) {
        const ssize_t size = ::read(source.number(), buffer.data(), buffer.size());
        if (size <= 0)
            return size < 0 ? errno : 0;
        leading->add({buffer.data(), static_cast<std::size_t>(size)});
        if (const int error = writeAll(target.number(), buffer.data(), static_cast<std::size_t>(size)))
            return error;
    }
    return EINTR;
}

} // namespace Ctl
