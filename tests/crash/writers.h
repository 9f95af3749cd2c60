#ifndef QUORVA_TESTS_CRASH_WRITERS_H
#define QUORVA_TESTS_CRASH_WRITERS_H

#include "ledger.h"

#include <QString>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

/** What the writers do besides the writes to units, counters and contests that they always do. */
struct WriterTasks {
    bool firstTouch = false;   // each has tables of its own, and most of its writes are the first of their partition
    bool createTables = false; // some create tables, anew or again, and use them
    bool largeValues = false;  // log files fill up
};

/**
 * Clients that write until they get no reply any more, or are told to stop, and then again after a restart. Every
 * request and every answer is in the ledger.
 */
class Writers {
public:
    static constexpr int Count = 6;

    /** `home` is the environment's directory; the tables "t0" and "t1" exist in it, unless tables are to be touched. */
    Writers(Ledger* ledger, QString home, WriterTasks tasks, unsigned seed);
    ~Writers();
    Writers(const Writers&) = delete;
    Writers& operator=(const Writers&) = delete;

    void start(int port);
    void stop() { stop_ = true; }
    /** Waits for all: of a server that is dead, or after stop(). */
    void join();

private:
    class Writer;

    std::vector<std::unique_ptr<Writer>> writers_;
    std::atomic<bool> stop_{false};
    std::vector<std::thread> threads_;
};

#endif
