#include "tools/backupfacts.h"

#include "format/logfiles.h"
#include "format/tablename.h"
#include "tools/backuplogs.h"
#include "tools/logscan.h"
#include "tools/messages.h"

#include <system_error>

namespace fs = std::filesystem;

namespace Ctl {

namespace {

using Logs = std::map<std::uint32_t, fs::path>;

LogScan::Position endOfCopy(const BackupList& list)
{
    return {list.lastLog, list.lastLogSize};
}

std::string cannotRead(const fs::path& path, int error)
{
    return withReason("cannot read " + path.string(), error);
}

/** Removes the log files from the first gap on. Returns an empty string or an error message. */
std::string cutAtGap(Logs* logs, std::optional<std::uint32_t>* gap)
{
    LogScan::File before;
    std::uint32_t expected = logs->begin()->first;
    for (auto entry = logs->begin(); entry != logs->end(); ++entry, ++expected) {
        LogScan::File file;
        const auto [number, path] = *entry;
        if (const int error = number == expected ? LogScan::read(
                                                       path, [](auto, auto) {}, &file)
                                                 : 0)
            return cannotRead(path, error);
        const bool isFirst = entry == logs->begin();
        if (number != expected || (!isFirst && !before.isFollowedBy(file))) {
            // A truncated file is usable up to its end.
            *gap = number != expected ? expected : expected - 1;
            logs->erase(entry, logs->end());
            return {};
        }
        before = file;
    }
    return {};
}

} // namespace

std::uintmax_t bytesIn(const fs::path& directory)
{
    std::uintmax_t sum = 0;
    std::error_code error;
    for (fs::recursive_directory_iterator entry(directory, error);
         !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
        std::error_code vanished;
        const auto size = entry->is_regular_file(vanished) ? entry->file_size(vanished) : 0;
        sum += vanished ? 0 : size;
    }
    return sum;
}

std::set<std::string> tablesOf(const BackupList& list)
{
    std::set<std::string> tables;
    for (const auto& [name, file] : list.files) {
        if (!LogFiles::numberOf(name))
            tables.emplace(TableNames::ofDataFile(name));
    }
    return tables;
}

std::string readCopyEnd(const fs::path& copy, std::optional<std::time_t>* since)
{
    BackupList list;
    if (std::string error = readList(copy, &list); !error.empty())
        return error;
    Logs logs;
    for (std::uint32_t number = list.firstLog; number <= list.lastLog; ++number)
        logs.emplace(number, copy / LogFiles::name(number));
    LogScan::Commits commits;
    fs::path failed;
    const int error = LogScan::readCommits(logs, endOfCopy(list), std::nullopt, &commits, &failed);
    *since = commits.latestInCopy;
    return error == 0 ? std::string() : cannotRead(failed, error);
}

std::string readFacts(const BackupParts& backup, BackupFacts* facts)
{
    BackupFiles files;
    (void)readBackup(backup, UnlistedCopy::Refused, &files, &facts->problem); // ignored: `problem` has the reason
    BackupList list;
    if (readList(backup.copy, &list).empty()) {
        facts->tables = tablesOf(list);
        facts->list = list;
    }
    facts->bytes = bytesIn(backup.copy);
    Logs logs;
    int rc = addLogsOf(backup.copy, &logs);
    for (const fs::path& later : backup.later)
        rc = rc == 0 ? addLogsOf(later, &logs) : rc;
    if (rc != 0)
        return cannotRead(backup.copy, rc);
    logs.erase(logs.begin(), logs.lower_bound(list.firstLog)); // shipped after the copy, which does not need them
    if (logs.empty())
        return {};
    if (std::string error = cutAtGap(&logs, &facts->gap); !error.empty())
        return error;
    facts->firstLog = logs.begin()->first;
    facts->lastLog = logs.rbegin()->first;
    LogScan::Commits commits;
    fs::path failed;
    if (const int error = LogScan::readCommits(logs, endOfCopy(list), std::nullopt, &commits, &failed))
        return cannotRead(failed, error);
    facts->since = commits.latestInCopy;
    facts->until = commits.latest;
    return {};
}

} // namespace Ctl
