#ifndef QUORVA_TESTS_FUZZ_FUZZTARGET_H
#define QUORVA_TESTS_FUZZ_FUZZTARGET_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

/**
 * The interface of a fuzz target. Each is a file that defines the function below: it takes one input, checks what must
 * hold for every input, and aborts the process when it does not. The fuzzer calls it with inputs that it generates, the
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
