#include "tools/standbylogs.h"

#include "base/filesync.h"
#include "format/checksum.h"
#include "format/logfiles.h"
#include "tools/backuplogs.h"
#include "tools/backupseries.h"
#include "tools/filecopy.h"
#include "tools/logscan.h"
#include "tools/messages.h"

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace fs = std::filesystem;

namespace Ctl {

namespace {

/** Whether a file begins with all bytes of another one. Returns 0 or an errno value. */
int beginsWith(const fs::path& file, const fs::path& beginning, bool* does)
{
    Checksum ofFile;
    Checksum ofBeginning;
    const std::uintmax_t size = sizeOf(beginning);
    int error = ofBeginning.addFile(beginning, 0, size);
    if (error == 0)
        error = ofFile.addFile(file, 0, size);
    *does = error == 0 && ofFile.value() == ofBeginning.value();
    return error;
}

} // namespace

std::string StandbyLogs::find(const fs::path& backup, Files* found)
{
    BackupSeries::Copies copies;
    if (!BackupSeries::isOne(backup)) {
        copies.push_back({backup, true, false});
    } else if (std::string error = BackupSeries::read(backup, &copies); !error.empty()) {
        return error;
    }
    for (const BackupSeries::Copy& copy : copies) {
        const int rc = addLogsOf(copy.path, found);
        if (rc != 0 && (rc != ENOENT || copies.size() == 1)) // a copy may be removed at this moment
            return withReason("cannot read " + copy.path.string(), rc);
    }
    return {};
}

std::string StandbyLogs::fetch(const Files& found, std::uint32_t first, bool* foreign)
{
    for (const auto& [number, from] : found) {
        if (number < first || sizeOf(from) <= sizeOf(path(number)))
            continue;
        if (std::string error = fetchOne(from, number, foreign); !error.empty())
            return error;
    }
    return {};
}

std::string StandbyLogs::fetchOne(const fs::path& from, std::uint32_t number, bool* foreign) const
{
    const fs::path to = path(number);
    const fs::path draft = fs::path(to) += ".new";
    std::error_code error;
    if (fs::exists(to, error)) {
        bool does = false;
        const int rc = beginsWith(from, to, &does);
        if (rc == ENOENT)
            return {}; // removed at this moment
        *foreign = rc == 0 && !does;
        if (*foreign)
            return from.string() + " does not belong to the same log as " + to.string();
    }
    fs::remove(draft, error);
    LeadingChecksum unused(0);
    int rc = copyFile(from, draft, &unused);
    if (rc == ENOENT)
        return {};
    if (rc == 0)
        rc = Base::syncToDisk(draft);
    if (rc == 0)
        fs::rename(draft, to, error);
    if (rc != 0 || error)
        return withReason("cannot copy " + from.string(), rc != 0 ? rc : error.value());
    return {};
}

std::string StandbyLogs::examine(std::uint32_t first, StandbyProgress* progress,
                                 std::optional<std::uint32_t>* missing) const
{
    const std::set<std::uint32_t> numbers = LogFiles::numbersIn(directory_);
    LogScan::File before;
    std::uint32_t expected = first;
    for (auto number = numbers.lower_bound(first); number != numbers.end(); ++number, ++expected) {
        std::optional<std::uint32_t> checkpoint;
        std::optional<std::time_t> until = progress->until;
        const auto look = [&](std::uint64_t, std::string_view content) {
            if (const auto start = LogRecords::checkpointStart(content))
                checkpoint = start;
            until = std::max(until, LogRecords::commitTime(content));
        };
        LogScan::File file;
        if (const int error = *number == expected ? LogScan::read(path(*number), look, &file) : 0)
            return withReason("cannot read " + path(*number).string(), error);
        const bool follows = expected == first || before.isFollowedBy(file);
        if (*number != expected || file.end == 0 || !follows) {
            if (*number != *numbers.rbegin() || file.end != 0 ||
                *number != expected) // otherwise it has only just begun
                *missing = *number == expected && file.end != 0 ? expected - 1 : expected;
            return {};
        }
        before = file;
        progress->last = *number;
        progress->end = file.end;
        progress->until = until;
        progress->first = std::max(progress->first, checkpoint.value_or(0));
    }
    return {};
}

std::string StandbyLogs::provide(std::uint32_t first, const StandbyProgress& progress, const fs::path& to) const
{
    const std::uint32_t last = progress.last;
    std::error_code error;
    fs::remove_all(to, error);
    if (!error)
        fs::create_directories(to, error);
    if (error)
        return "cannot create " + to.string() + ": " + error.message();
    for (std::uint32_t number = first; number <= last; ++number) {
        const fs::path copy = to / LogFiles::name(number);
        // Berkeley DB changes only the last one.
        if (number < last)
            fs::create_hard_link(path(number), copy, error);
        LeadingChecksum unused(0);
        if (number == last || error) {
            if (const int rc = copyFile(path(number), copy, &unused))
                return withReason("cannot copy " + path(number).string(), rc);
        }
        error.clear();
    }
    fs::resize_file(to / LogFiles::name(last), progress.end, error); // what follows may be an incomplete record
    return error ? "cannot cut off " + (to / LogFiles::name(last)).string() + ": " + error.message() : std::string();
}

std::string StandbyLogs::removeOutside(std::uint32_t first, std::uint32_t last) const
{
    for (const std::uint32_t number : LogFiles::numbersIn(directory_)) {
        std::error_code error;
        if (number < first || number > last)
            fs::remove(path(number), error);
        if (error)
            return "cannot remove " + path(number).string() + ": " + error.message();
    }
    return {};
}

fs::path StandbyLogs::path(std::uint32_t number) const
{
    return directory_ / LogFiles::name(number);
}

} // namespace Ctl
