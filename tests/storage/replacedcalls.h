#ifndef QUORVA_TESTS_STORAGE_REPLACEDCALLS_H
#define QUORVA_TESTS_STORAGE_REPLACEDCALLS_H

#include <chrono>
#include <cstddef>
#include <ctime>
#include <vector>

/**
 * The test executable brings its own rand(), nanosleep(), time(), flock() and operator new, which behave like the
 * system's until one of the classes below says otherwise: so pauses of half a minute can be tested without waiting for
 * them, and an opening goes on for as long as a test wants.
 */

/** While it lives, this thread's pauses are noted instead of made, and its rand() always answers `random`. */
class RecordedPauses {
public:
    explicit RecordedPauses(int random);
    ~RecordedPauses();
    RecordedPauses(const RecordedPauses&) = delete;
    RecordedPauses& operator=(const RecordedPauses&) = delete;

    /** In the order in which they were asked for. */
    std::vector<long> milliseconds;

    const int random;
};

/** While it lives, flock() of a directory does not return. One at a time. */
class StalledLock {
public:
    explicit StalledLock(const char* directory);
    ~StalledLock();
    StalledLock(const StalledLock&) = delete;
    StalledLock& operator=(const StalledLock&) = delete;
};

/** While it lives, this thread gets no pieces of exactly `size` bytes from `operator new` but std::bad_alloc. */
class NoMemoryFor {
public:
    explicit NoMemoryFor(std::size_t size);
    ~NoMemoryFor();
    NoMemoryFor(const NoMemoryFor&) = delete;
    NoMemoryFor& operator=(const NoMemoryFor&) = delete;
};

/** Puts the clock that time() reads forward, for the rest of the process. */
void advanceClock(std::chrono::seconds by);

#endif
