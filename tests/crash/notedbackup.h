#ifndef QUORVA_TESTS_CRASH_NOTEDBACKUP_H
#define QUORVA_TESTS_CRASH_NOTEDBACKUP_H

#include "ledger.h"

#include <atomic>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <utility>

/** The target of a backup, and what the copy must contain. */
class NotedBackup {
public:
    explicit NotedBackup(std::string target) : target_(std::move(target)) {}

    void markAndCreate() const
    {
        std::filesystem::create_directory(target_);
        std::ofstream(marker()).flush();
    }
    bool isComplete() const { return std::filesystem::exists(target_) && !std::filesystem::exists(marker()); }
    const std::string& target() const { return target_; }
    std::string marker() const { return target_ + "/BackupInProgress.tmp"; }

    /** Records what is acknowledged at this moment, unless the copy is already complete: the copy must contain it. */
    void note(const Ledger& ledger)
    {
        Ledger::Floor floor = ledger.floor();
        if (!isComplete())
            least_ = std::move(floor);
    }
    /** Calls `crash`, and repeats note() until it has returned or the copy is complete. */
    template <typename Crash> void noteUntil(const Ledger& ledger, Crash&& crash)
    {
        std::atomic<bool> stop{false};
        std::thread observer([&] {
            while (!stop && !isComplete())
                note(ledger);
        });
        crash();
        stop = true;
        observer.join();
    }
    const Ledger::Floor& least() const { return least_; }

private:
    std::string target_;
    Ledger::Floor least_;
};

#endif
