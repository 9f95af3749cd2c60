#ifndef QUORVA_TESTS_CRASH_WRITERS_H
#define QUORVA_TESTS_CRASH_WRITERS_H

#include "ledger.h"
#include "writertasks.h"

#include <QString>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

class Writer;

/**
 * Clients that write until they get no reply or are stopped, and again after a restart. The ledger records every
 * request and every reply.
 */
class Writers {
public:
    static constexpr int Count = 6;

    /** `home` is the environment's directory. The tables "t0" and "t1" exist in it, except with firstTouch. */
    Writers(Ledger* ledger, QString home, WriterTasks tasks, unsigned seed);
    ~Writers();
    Writers(const Writers&) = delete;
    Writers& operator=(const Writers&) = delete;

    void start(int port);
    void stop() { stop_ = true; }
    /** Waits for all writers; call it when the server is dead, or after stop(). */
    void join();

private:
    std::vector<std::unique_ptr<Writer>> writers_;
    std::atomic<bool> stop_{false};
    std::vector<std::thread> threads_;
};

#endif
