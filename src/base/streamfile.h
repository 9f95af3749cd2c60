#ifndef QUORVA_BASE_STREAMFILE_H
#define QUORVA_BASE_STREAMFILE_H

#include <cstdio>

namespace Base {

/**
 * Has an open stream append to a file from here on, which is created when it is missing; `stream` stays valid. What
 * other threads write meanwhile goes to either file, each single write as a whole. Returns 0, or an errno value with
 * the stream unchanged. Does not block on a FIFO without a reader: ENXIO.
 */
[[nodiscard]] int continueIn(std::FILE* stream, const char* path);

} // namespace Base

#endif
