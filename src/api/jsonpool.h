#ifndef QUORVA_API_JSONPOOL_H
#define QUORVA_API_JSONPOOL_H

#include <rapidjson/allocators.h>

#include <cstddef>

namespace Api {

/**
 * The memory of a JSON document, which takes it in pieces of this size. The library's own are so large that each has
 * malloc() join all memory that was freed lately, and most requests and replies need a small part of one.
 */
using JsonPool = rapidjson::MemoryPoolAllocator<>;
inline constexpr std::size_t JsonPoolBytes = 4096;

} // namespace Api

#endif
