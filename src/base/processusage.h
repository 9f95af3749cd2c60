#ifndef QUORVA_BASE_PROCESSUSAGE_H
#define QUORVA_BASE_PROCESSUSAGE_H

#include <cstdint>

namespace Base {

/** What the process takes of the machine at the moment. What cannot be told is 0. */
struct ProcessUsage {
    std::uint64_t residentBytes = 0;
    double processorSeconds = 0; // since its start, of all threads, in the kernel as well
    std::uint64_t descriptors = 0;
    std::uint64_t descriptorLimit = 0;
};

/** Any thread. */
ProcessUsage processUsage();

} // namespace Base

#endif
