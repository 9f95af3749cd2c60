#ifndef QUORVA_TESTS_SERVER_BACKUPLINES_H
#define QUORVA_TESTS_SERVER_BACKUPLINES_H

#include "support/backupfixture.h"

inline constexpr const char* StartList = "[INFO] Starting BDBHotBackupThread.log_archive";
inline constexpr const char* DoneList = "[INFO] Done BDBHotBackupThread.log_archive";
inline constexpr const char* DoneShipping = "[INFO] Done BDBHotBackupThread.backupLog";
inline constexpr const char* Disabling = "[INFO] Disabling Database Backup";

inline std::string startShipping(int files)
{
    return "[INFO] Starting BDBHotBackupThread.backupLog " + std::to_string(files);
}

inline std::string copyFailed(int rc)
{
    return "[ERROR] bdb # Dbenv backup failed rc " + std::to_string(rc);
}

#endif
