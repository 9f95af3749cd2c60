#ifndef QUORVA_API_JSONPOOL_H
#define QUORVA_API_JSONPOOL_H

#include "items/json.h"

#include <array>
#include <cstddef>

namespace Api {

/**
 * The memory of a JSON document, allocated in chunks of this size. The library's default chunks are so large that each
 * makes malloc() consolidate recently freed memory, and most requests and replies need only a small part of one.
 */
using Items::JsonPool;
inline constexpr std::size_t JsonPoolBytes = 4096;

/** The first chunk of a pool, for objects that contain it. */
using JsonPoolBuffer = std::array<std::max_align_t, JsonPoolBytes / sizeof(std::max_align_t)>;

} // namespace Api

#endif
