#include "storage/settings.h"

#include <db_cxx.h>

#include <atomic>

namespace {

std::atomic<std::uint32_t> commitFlags{DB_TXN_SYNC};
std::atomic<int> verbosity{0};
std::atomic<int> noBackup{0};

} // namespace

std::uint32_t Settings::txnCommitFlags()
{
    return commitFlags.load(std::memory_order_relaxed);
}

void Settings::setTxnCommitFlags(std::uint32_t flags)
{
    commitFlags.store(flags, std::memory_order_relaxed);
}

int Settings::statLevel()
{
    return verbosity.load(std::memory_order_relaxed);
}

void Settings::setStatLevel(int level)
{
    verbosity.store(level, std::memory_order_relaxed);
}

int Settings::backupDisabled()
{
    return noBackup.load();
}

void Settings::setBackupDisabled(int disabled)
{
    noBackup.store(disabled);
}
