#ifndef QUORVA_PROTOCOL_ADMINISTRATION_H
#define QUORVA_PROTOCOL_ADMINISTRATION_H

/** The administrative actions that an UpdateTable requests, as members of its "ProvisionedThroughput". */
namespace AdminActions {

inline constexpr const char* FlushLog = "FlushDB";
inline constexpr const char* StartBackup = "DbBackup";    // its value is the target directory
inline constexpr const char* ShipLogs = "UpdateDbBackup"; // likewise
inline constexpr const char* StopBackup = "StopDbBackup";

} // namespace AdminActions

/** The states of an environment's backup, the "State" in the reply to a DescribeBackup. */
namespace BackupStates {

inline constexpr const char* None = "none";
inline constexpr const char* Copying = "copying";
inline constexpr const char* Shipping = "shipping";
inline constexpr const char* Stopping = "stopping";

} // namespace BackupStates

#endif
