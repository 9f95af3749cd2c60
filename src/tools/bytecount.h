#ifndef QUORVA_TOOLS_BYTECOUNT_H
#define QUORVA_TOOLS_BYTECOUNT_H

#include <cstdint>
#include <string>

namespace Ctl {

/** A number of bytes for people: "1 byte", "999 bytes", "1.5 KB", "20.0 MB", "3.1 GB"; units are powers of 1000. */
std::string byteCount(std::uint64_t bytes);

} // namespace Ctl

#endif
