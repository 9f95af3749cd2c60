#ifndef QUORVA_BASE_STREAMFILE_H
#define QUORVA_BASE_STREAMFILE_H

#include <cstdio>

namespace Base {

/**
 * Makes an open stream append to another file, which is created if it does not exist; `stream` stays valid. Concurrent
 * writes by other threads go to either file, each write as a whole. Returns 0, or an errno value with the stream
 * unchanged. Does not block on a FIFO without a reader: ENXIO.
 */
[[nodiscard]] int continueIn(std::FILE* stream, const char* path);

} // namespace Base

#endif
