#ifndef QUORVA_BASE_PROCESSUSAGE_H
#define QUORVA_BASE_PROCESSUSAGE_H

#include <cstdint>

namespace Base {

/** The resources that the process uses at the moment. 0: unknown. */
struct ProcessUsage {
    std::uint64_t residentBytes = 0;
    double processorSeconds = 0; // since its start, of all threads, including time in the kernel
    std::uint64_t descriptors = 0;
    std::uint64_t descriptorLimit = 0;
};

/** Any thread. */
ProcessUsage processUsage();

} // namespace Base

#endif
