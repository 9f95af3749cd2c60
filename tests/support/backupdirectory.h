#ifndef QUORVA_TESTS_SUPPORT_BACKUPDIRECTORY_H
#define QUORVA_TESTS_SUPPORT_BACKUPDIRECTORY_H

#include "format/backuplist.h"
#include "format/checksum.h"
#include "format/logfiles.h"
#include "support/directorycontents.h"
#include "support/files.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>
#include <vector>

/** The file that the requester of a full backup creates, and the server deletes when the copy is complete. */
inline std::string markerIn(const std::string& target)
{
    return target + "/BackupInProgress.tmp";
}

/** The list of a copy's files. */
inline std::string listIn(const std::string& target)
{
    return target + "/BackupFiles.list";
}

/** Writes the list of a directory's current files, replacing any there is. */
inline void writeListOf(const std::string& directory)
{
    namespace fs = std::filesystem;
    fs::remove(listIn(directory));
    BackupList list;
    for (const auto& entry : fs::recursive_directory_iterator(directory)) {
        const std::string name = fs::relative(entry.path(), directory);
        if (!entry.is_regular_file() || name.starts_with("__log__/"))
            continue;
        const std::string bytes = readFile(entry.path());
        list.files[name] = {bytes.size(), Checksum::of(bytes)};
        if (const auto number = LogFiles::numberOf(name); number && *number >= list.lastLog) {
            list.firstLog = list.firstLog == 0 ? *number : std::min(list.firstLog, *number);
            list.lastLog = *number;
            list.lastLogSize = static_cast<std::uint32_t>(bytes.size());
        }
    }
    std::ofstream(listIn(directory), std::ios::binary) << list.write();
}

inline std::string logName(int number)
{
    const std::string digits = std::to_string(number);
    return "log." + std::string(10 - digits.size(), '0') + digits;
}

/** The names in a fresh backup of an environment: those of the environment's files, and that of the list. */
inline std::vector<std::string> namesOfCopyOf(const std::string& home)
{
    std::vector<std::string> names = namesIn(home);
    names.insert(std::upper_bound(names.begin(), names.end(), "BackupFiles.list"), "BackupFiles.list");
    return names;
}

#endif
