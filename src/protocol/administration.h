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

/** Members of the requests and replies of the operations that free disk space. */
namespace SpaceNames {

inline constexpr const char* Removed = "Removed"; // by a DropTable or TruncateTable: an object with the next three
inline constexpr const char* Files = "Files";
inline constexpr const char* Bytes = "Bytes";
inline constexpr const char* Items = "Items";

inline constexpr const char* Partition = "Partition"; // of a CompactTable: the number of a data file
inline constexpr const char* StartKey = "StartKey";   // the NextKey of the previous reply
inline constexpr const char* BytesBefore = "BytesBefore";
inline constexpr const char* BytesAfter = "BytesAfter";
inline constexpr const char* HasMoved = "HasMoved";
inline constexpr const char* IsBusy = "IsBusy";
inline constexpr const char* NextKey = "NextKey"; // a record key in hexadecimal digits; missing at the end of a pass

} // namespace SpaceNames

#endif
