#ifndef QUORVA_TOOLS_USUALMODE_H
#define QUORVA_TOOLS_USUALMODE_H

#include <sys/stat.h>

namespace Ctl {

/**
 * The access mode that open() or mkdir() would give for `wanted` (0666, 0777): for files and directories created under
 * a unique name by mkstemp() and the like, which only their owner can access at first. Changes the process's umask for
 * a moment; not thread-safe.
 */
inline mode_t usualMode(mode_t wanted)
{
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return wanted & ~mask;
}

} // namespace Ctl

#endif
