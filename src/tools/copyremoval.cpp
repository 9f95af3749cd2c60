#include "tools/copyremoval.h"

#include "base/directoryentries.h"
#include "tools/backupseries.h"
#include "tools/interruption.h"
#include "tools/messages.h"

#include <system_error>
#include <vector>

namespace fs = std::filesystem;

namespace CopyRemoval {

namespace {

std::string cannotRemove(const fs::path& path, const std::error_code& error)
{
    return error ? "cannot remove " + path.string() + ": " + error.message() : std::string();
}

std::string removeCopy(const fs::path& copy)
{
    std::error_code error;
    const fs::path aside = copy.parent_path() / (BackupSeries::RemovalPrefix + copy.filename().string());
    fs::rename(copy, aside, error);
    if (!error)
        fs::remove(BackupSeries::verificationNote(copy), error);
    if (!error)
        fs::remove_all(aside, error);
    return cannotRemove(copy, error);
}

} // namespace

std::string prune(const fs::path& series, const Policy& policy, std::size_t* removed)
{
    BackupSeries::Copies copies;
    if (std::string error = BackupSeries::read(series, &copies); !error.empty())
        return error;
    std::size_t kept = 0;
    for (auto copy = copies.rbegin(); copy != copies.rend() && !Ctl::Interruption::requested(); ++copy) {
        const bool isOld = kept >= policy.keep;
        const bool isUnfinished = !copy->isComplete && copy->path != policy.newest;
        if (copy->isComplete && (copy->isVerified || !policy.onlyVerifiedCount))
            ++kept;
        if (!isOld && !isUnfinished)
            continue;
        if (std::string error = removeCopy(copy->path); !error.empty())
            return error;
        *removed += 1;
    }
    return {};
}

std::string removeLeftovers(const fs::path& series)
{
    std::vector<fs::path> leftovers;
    const int rc = Base::forEachEntry(series, [&](const fs::directory_entry& entry) {
        const std::string name = entry.path().filename().string();
        if (name.starts_with(BackupSeries::RemovalPrefix) || name == BackupSeries::VerificationDirectory)
            leftovers.push_back(entry.path());
        return 0;
    });
    if (rc != 0)
        return Ctl::withReason("cannot read " + series.string(), rc);
    for (const fs::path& leftover : leftovers) {
        std::error_code error;
        fs::remove_all(leftover, error);
        if (error)
            return cannotRemove(leftover, error);
    }
    return {};
}

} // namespace CopyRemoval
