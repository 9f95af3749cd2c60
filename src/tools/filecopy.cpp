#include "tools/filecopy.h"

#include "base/descriptor.h"
#include "base/fileio.h"
#include "tools/interruption.h"

#include <cerrno>
#include <cstddef>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>

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
    for (off_t offset = 0; !Interruption::requested();) {
        std::size_t got = 0;
        if (const int error = Base::readAt(source.number(), offset, buffer.data(), buffer.size(), &got))
            return error;
        const std::string_view piece(buffer.data(), got);
        leading->add(piece);
        if (const int error = Base::writeAll(target.number(), piece))
            return error;
        if (got < buffer.size())
            return 0;
        offset += static_cast<off_t>(got);
    }
    return EINTR;
}

} // namespace Ctl
