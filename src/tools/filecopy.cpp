#include "tools/filecopy.h"

#include "base/descriptor.h"
#include "base/fileio.h"
#include "tools/interruption.h"

#include <cerrno>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace Ctl {

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
        const std::string_view piece(buffer.data(), static_cast<std::size_t>(size));
        leading->add(piece);
        if (const int error = Base::writeAll(target.number(), piece))
            return error;
    }
    return EINTR;
}

} // namespace Ctl
