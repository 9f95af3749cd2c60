#ifndef QUORVA_BASE_FREEDMEMORY_H
#define QUORVA_BASE_FREEDMEMORY_H

namespace Base {

/**
 * Sets how much freed memory the process keeps for reuse. Memory of the size of large replies is kept: faulting it in
 * again, page by page, costs as much as the reply itself. Larger pieces are returned to the system when they are freed,
 * and so is what each thread's heap has free at its end beyond a few MiB; without fixed limits the allocator raises
 * them with each large piece. Call at program start; MemoryTrimmer returns the rest.
 */
void keepFreedMemory();

} // namespace Base

#endif
