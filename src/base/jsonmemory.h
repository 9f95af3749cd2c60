#ifndef QUORVA_BASE_JSONMEMORY_H
#define QUORVA_BASE_JSONMEMORY_H

#include <cstddef>
#include <cstdlib>
#include <new>

namespace Base {

/**
 * The memory of the JSON library, which calls these functions by these names. Without memory this throws: the library
 * itself goes on with a null pointer, and the program ends.
 */
class JsonMemory {
public:
    static constexpr bool kNeedFree = true; // NOLINT(readability-identifier-naming)

    static void* Malloc(std::size_t size) { return size > 0 ? checked(std::malloc(size)) : nullptr; }
    static void* Realloc(void* memory, std::size_t /*oldSize*/, std::size_t newSize)
    {
        if (newSize > 0)
            return checked(std::realloc(memory, newSize));
        Free(memory);
        return nullptr;
    }
    static void Free(void* memory) { std::free(memory); }

private:
    static void* checked(void* memory)
    {
        if (memory == nullptr)
            throw std::bad_alloc();
        return memory;
    }
};

} // namespace Base

#endif
