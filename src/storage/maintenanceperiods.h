#ifndef QUORVA_STORAGE_MAINTENANCEPERIODS_H
#define QUORVA_STORAGE_MAINTENANCEPERIODS_H

#include <chrono>

/**
 * How long the threads of an environment sleep between two cycles. Infrequent on purpose: detection keeps a deadlocked
 * request from waiting long, the others bound recovery time and log growth without competing with requests.
 */
namespace MaintenancePeriods {

using namespace std::chrono_literals;

inline constexpr std::chrono::milliseconds LockDetect = 4s;
inline constexpr std::chrono::milliseconds Checkpoint = 300s;
inline constexpr std::chrono::milliseconds CacheFlush = 300s;
inline constexpr std::chrono::milliseconds StatPrint = 60s;
inline constexpr std::chrono::milliseconds LogShipping = 300s;

} // namespace MaintenancePeriods

#endif
