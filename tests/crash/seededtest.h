#ifndef QUORVA_TESTS_CRASH_SEEDEDTEST_H
#define QUORVA_TESTS_CRASH_SEEDEDTEST_H

#include "crashbench.h"

#include <gtest/gtest.h>

#include <iostream>
#include <string>

/** A test with random choices, which prints the seed that repeats them. */
class SeededTest : public testing::Test {
protected:
    explicit SeededTest(const CrashMode& mode) : mode_(mode) {}

    void SetUp() override
    {
#ifdef QUORVA_SANITIZED
        if (mode_.powerLoss)
            GTEST_SKIP() << "a sanitizer wants to be the first library of its process";
#endif
        std::cout << "seed " << seed_ << std::endl;
        RecordProperty("seed", std::to_string(seed_));
    }

    const CrashMode mode_;
    const unsigned seed_ = crashSeed();
};

#endif
