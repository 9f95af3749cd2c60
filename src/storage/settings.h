#ifndef QUORVA_STORAGE_SETTINGS_H
#define QUORVA_STORAGE_SETTINGS_H

#include <cstdint>

/**
 * Process-wide settings of the storage layer. Start-up writes them before any other thread exists; only
 * `backupDisabled` changes later. Any thread may read them.
 */
namespace Settings {

/** The flags of every transaction commit: DB_TXN_SYNC (the default) or DB_TXN_NOSYNC. */
std::uint32_t txnCommitFlags();
void setTxnCommitFlags(std::uint32_t flags);

/** The verbosity of `-s`; 4, 8, 12, 16 and 20 select the statistics that environments print. */
int statLevel();
void setStatLevel(int level);

/**
 * 1 when no hot backup wants log files, so that checkpoints may remove them. One flag for the whole process: disabling
 * backup in one environment lets every environment's checkpoint remove logs.
 *
 * Kept: 0 at start-up, so log files accumulate until a backup is stopped or fails. The first checkpoint after a restart
 * must not remove log files before the operator resumes shipping them.
 */
int backupDisabled();
void setBackupDisabled(int disabled);

} // namespace Settings

#endif
