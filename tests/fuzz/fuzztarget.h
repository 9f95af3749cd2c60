#ifndef QUORVA_TESTS_FUZZ_FUZZTARGET_H
#define QUORVA_TESTS_FUZZ_FUZZTARGET_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

/**
 * What a fuzz target is made of. Each is one file that defines the function below: it takes one input, checks what must
 * hold for every input, and ends the process when it does not. The fuzzer calls it with inputs of its own making, the
 * regression test with those in the repository.
 */
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

#define FUZZ_ASSERT(condition)                                                                                         \
    do {                                                                                                               \
        if (!(condition)) {                                                                                            \
            std::fprintf(stderr, "%s:%d: does not hold: %s\n", __FILE__, __LINE__, #condition);                        \
            std::abort();                                                                                              \
        }                                                                                                              \
    } while (false)

#endif
