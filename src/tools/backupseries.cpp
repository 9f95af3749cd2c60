#include "tools/backupseries.h"

#include "base/directoryentries.h"
#include "format/backupnames.h"
#include "format/logfiles.h"
#include "tools/backupfacts.h"
#include "tools/messages.h"
#include "tools/resolvedpath.h"
#include "tools/times.h"

#include <algorithm>
#include <array>
#include <set>
#include <system_error>

namespace fs = std::filesystem;

namespace BackupSeries {

namespace {

constexpr int Found = -1; // not an errno value
constexpr const char* NameFormat = "%Y-%m-%dT%H%M%SZ";

using Ctl::isThere;

bool isCopyOrEnvironment(const fs::path& directory)
{
    return isThere(directory / BackupNames::ListFile) || !LogFiles::numbersIn(directory).empty();
}

/** Whether the end of a copy is not after `until`; `since` is that end, if the copy has a commit. */
std::string reaches(const Copy& copy, std::optional<std::time_t> until, std::optional<std::time_t>* since, bool* does)
{
    std::string error = until ? Ctl::readCopyEnd(copy.path, since) : std::string();
    *does = error.empty() && (!until || !*since || **since <= *until);
    return error;
}

/** Returns an empty string, with the index of the chosen one, or an error message. */
std::string chooseFrom(const fs::path& directory, const Copies& copies, std::optional<std::time_t> until,
                       std::size_t* chosen)
{
    std::optional<std::time_t> earliest;
    bool isFound = false;
    for (std::size_t i = copies.size(); i-- > 0;) {
        std::optional<std::time_t> since;
        bool does = false;
        if (!copies[i].isComplete || (isFound && !copies[i].isVerified))
            continue;
        if (std::string error = reaches(copies[i], until, &since, &does); !error.empty())
            return error;
        earliest = since;
        if (!does)
            continue;
        isFound = true;
        *chosen = i;
        if (copies[i].isVerified)
            break;
    }
    if (isFound)
        return {};
    if (!earliest)
        return directory.string() + " has no complete copy";
    return directory.string() + " does not reach back to " + Times::text(until) + ": its oldest copy was complete at " +
           Times::text(earliest);
}

} // namespace

std::string copyName(std::time_t time)
{
    std::tm parts = {};
    std::array<char, 64> name = {};
    if (::gmtime_r(&time, &parts) == nullptr)
        return {};
    (void)std::strftime(name.data(), name.size(), NameFormat, &parts); // ignored: it fits
    return name.data();
}

std::optional<std::time_t> timeOfCopy(std::string_view name)
{
    const std::string text(name);
    std::tm parts = {};
    if (::strptime(text.c_str(), NameFormat, &parts) == nullptr)
        return std::nullopt;
    const std::time_t time = ::timegm(&parts);
    return copyName(time) == name ? std::optional(time) : std::nullopt;
}

fs::path verificationNote(const fs::path& copy)
{
    return fs::path(copy) += ".verified";
}

bool isOne(const fs::path& directory)
{
    if (isCopyOrEnvironment(directory)) // in which a table may be called like a copy
        return false;
    return Base::forEachEntry(directory, [](const fs::directory_entry& entry) {
               return timeOfCopy(entry.path().filename().string()) ? Found : 0;
           }) == Found;
}

std::string refusal(const fs::path& directory)
{
    if (isCopyOrEnvironment(directory))
        return {};
    std::set<fs::path> series;
    (void)Base::forEachEntry(directory, [&](const fs::directory_entry& entry) { // ignored: then there are none
        std::error_code vanished;
        if (entry.is_directory(vanished) && !timeOfCopy(entry.path().filename().string()) && isOne(entry.path()))
            series.insert(entry.path());
        return 0;
    });
    std::string text;
    for (const fs::path& path : series) {
        Copies copies;
        if (read(path, &copies).empty() && !copies.empty())
            text += (text.empty() ? "" : ", ") + path.string() + " (" +
                    Ctl::counted(static_cast<long long>(copies.size()), "copy", "copies") + ", the last " +
                    copies.back().path.filename().string() + ')';
    }
    return text.empty() ? text
                        : directory.string() + " is not a backup, but has dated copies below it; name one of " + text;
}

std::string read(const fs::path& directory, Copies* copies)
{
    copies->clear();
    const int rc = Base::forEachEntry(directory, [copies](const fs::directory_entry& entry) {
        std::error_code vanished;
        if (timeOfCopy(entry.path().filename().string()) && entry.is_directory(vanished)) {
            const fs::path& path = entry.path();
            const bool isUnfinished =
                isThere(path / BackupNames::Marker) || isThere(path / BackupNames::UnfinishedListFile);
            copies->push_back(
                {path, !isUnfinished && isThere(path / BackupNames::ListFile), isThere(verificationNote(path))});
        }
        return 0;
    });
    std::sort(copies->begin(), copies->end(), [](const Copy& a, const Copy& b) { return a.path < b.path; });
    return rc == 0 ? std::string() : Ctl::withReason("cannot read " + directory.string(), rc);
}

std::string choose(const fs::path& directory, std::optional<std::time_t> until, Ctl::BackupParts* parts)
{
    Copies copies;
    *parts = Ctl::BackupParts(directory);
    if (std::string problem = refusal(directory); !problem.empty())
        return problem;
    if (!isOne(directory))
        return {};
    if (std::string error = read(directory, &copies); !error.empty())
        return error;
    std::size_t chosen = 0;
    if (std::string error = chooseFrom(directory, copies, until, &chosen); !error.empty())
        return error;
    *parts = Ctl::BackupParts(copies[chosen].path);
    for (std::size_t i = chosen + 1; i < copies.size(); ++i) {
        if (copies[i].isComplete)
            parts->later.push_back(copies[i].path);
    }
    return {};
}

} // namespace BackupSeries
