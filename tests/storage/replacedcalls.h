#ifndef QUORVA_TESTS_STORAGE_REPLACEDCALLS_H
#define QUORVA_TESTS_STORAGE_REPLACEDCALLS_H

#include <chrono>
#include <cstddef>
#include <ctime>
#include <vector>

/**
 * The test executable replaces rand(), nanosleep(), time(), flock() and operator new. They behave like the system's
 * unless one of the classes below is in use. So pauses of half a minute are tested without waiting, and an opening
 * lasts as long as a test wants.
 */

/** While it lives, this thread's pauses are recorded and skipped, and its rand() always returns `random`. */
class RecordedPauses {
public:
    explicit RecordedPauses(int random);
    ~RecordedPauses();
    RecordedPauses(const RecordedPauses&) = delete;
    RecordedPauses& operator=(const RecordedPauses&) = delete;

    /** The pauses, in order. */
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

/** While it lives, `operator new` of exactly `size` bytes throws std::bad_alloc in this thread. */
class NoMemoryFor {
public:
    explicit NoMemoryFor(std::size_t size);
    ~NoMemoryFor();
    NoMemoryFor(const NoMemoryFor&) = delete;
    NoMemoryFor& operator=(const NoMemoryFor&) = delete;
};

/** Advances the clock that time() reads, for the rest of the process. */
void advanceClock(std::chrono::seconds by);

#endif
