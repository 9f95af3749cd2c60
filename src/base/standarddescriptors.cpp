#include "base/standarddescriptors.h"

#include "base/descriptor.h"

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace Base {

void openStandardDescriptors()
{
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
        if (::fcntl(descriptor, F_GETFD) >= 0 || errno != EBADF)
            continue;
        // The kernel assigns the lowest free number, and all lower ones are open by this point.
        if (::open("/dev/null", O_RDWR) < 0)
            return;
    }
}

void closeOrReplace(int descriptor)
{
    if (descriptor > STDERR_FILENO) {
        const Descriptor closed(descriptor);
        return;
    }
    const Descriptor null(::open("/dev/null", O_RDWR | O_CLOEXEC));
    if (null.isOpen())
        (void)::dup2(null.number(), descriptor); // ignored: both are open, so it cannot fail
}

} // namespace Base
