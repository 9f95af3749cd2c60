#include "base/freedmemory.h"

#include <malloc.h>

void Base::keepFreedMemory()
{
    // Replies of the default page size, at 1 KB per item, take a few hundred KiB while they are built.
    constexpr int LargestKept = 1 << 20;
    (void)mallopt(M_MMAP_THRESHOLD, LargestKept);     // ignored: it costs time only
    (void)mallopt(M_TRIM_THRESHOLD, 2 * LargestKept); // per arena
}
