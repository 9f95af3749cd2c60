#include "base/streamfile.h"

#include "base/descriptor.h"

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr mode_t NewFileMode = 0666; // as of fopen()

} // namespace

int Base::continueIn(std::FILE* stream, const char* path)
{
    const Descriptor file(::open(path, O_WRONLY | O_CREAT | O_APPEND | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, NewFileMode));
    if (!file.isOpen() || ::fcntl(file.number(), F_SETFL, O_APPEND) != 0) // this clears O_NONBLOCK
        return errno;
    const int replaced = ::fileno(stream);
    const bool closesOnExec = (::fcntl(replaced, F_GETFD) & FD_CLOEXEC) != 0;
    ::flockfile(stream);
    (void)::fflush_unlocked(stream); // ignored: unwritten bytes stay in the buffer, for the other file
    const int rc = ::dup3(file.number(), replaced, closesOnExec ? O_CLOEXEC : 0) < 0 ? errno : 0;
    ::funlockfile(stream);
    return rc;
}
