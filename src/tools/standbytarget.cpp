#include "tools/standbytarget.h"

#include "base/fileio.h"
#include "base/filesync.h"
#include "format/backupnames.h"
#include "format/berkeleydbnames.h"
#include "tools/clearing.h"
#include "tools/messages.h"
#include "tools/resolvedpath.h"

#include <cerrno>
#include <sstream>
#include <system_error>

#include <unistd.h>

namespace fs = std::filesystem;

namespace Ctl {

namespace {

constexpr std::string_view StandbyGuard =
    "# A standby that quorvactl keeps up to date from a backup. This file keeps servers from opening it.\n"
    "# For one to take over, use: quorvactl standby --switch\n"
    "quorvactl_standby ";
constexpr const char* DraftName = "DB_CONFIG.new";
constexpr const char* StageNames[] = {"making", "following", "switching"}; // by StandbyProgress::Stage

std::string write(const StandbyProgress& progress)
{
    std::ostringstream text;
    text << StandbyGuard << StageNames[progress.stage] << ' ' << progress.first << ' ' << progress.last << ' '
         << progress.end;
    if (progress.until)
        text << ' ' << *progress.until;
    text << '\n';
    return text.str();
}

bool read(std::string_view text, StandbyProgress* progress)
{
    if (!StandbyTarget::isGuard(text))
        return false;
    std::istringstream words{std::string(text.substr(StandbyGuard.size()))};
    std::string stage;
    if (!(words >> stage >> progress->first >> progress->last >> progress->end))
        return false;
    if (long long until = 0; words >> until)
        progress->until = static_cast<std::time_t>(until);
    for (const auto one : {StandbyProgress::Making, StandbyProgress::Following, StandbyProgress::Switching}) {
        if (stage == StageNames[one]) {
            progress->stage = one;
            return write(*progress) == text;
        }
    }
    return false;
}

} // namespace

bool StandbyTarget::isGuard(std::string_view config)
{
    return config.starts_with(StandbyGuard);
}

StandbyTarget::StandbyTarget(const fs::path& directory) : given_(directory), directory_(resolvedPath(directory)) {}

std::string StandbyTarget::open()
{
    std::error_code error;
    fs::create_directory(directory_, error);
    if (error)
        return "cannot create " + given_.string() + ": " + error.message();
    if (std::string problem = lock(); !problem.empty())
        return problem;
    fs::remove(directory_ / DraftName, error);
    if (fs::is_empty(directory_, error) && !error)
        return note({});
    if (std::string problem = readProgress(); !problem.empty())
        return problem;
    return progress_.stage == StandbyProgress::Making ? clear() : std::string();
}

std::string StandbyTarget::openExisting()
{
    if (std::string problem = lock(); !problem.empty())
        return problem;
    if (std::string problem = readProgress(); !problem.empty())
        return problem;
    return progress_.stage == StandbyProgress::Making
               ? given_.string() + " contains only a part of the databases: it has never caught up"
               : std::string();
}

std::string StandbyTarget::lock()
{
    const int rc = lock_.lock(directory_);
    if (rc == EWOULDBLOCK)
        return given_.string() + " is open in a server, or in use by another quorvactl";
    return rc == ENOENT || rc == ENOTDIR ? withReason("cannot read " + given_.string(), rc) : std::string();
}

std::string StandbyTarget::readProgress()
{
    std::string text;
    const int rc = Base::readFile(guard(), &text);
    if (rc == 0 && read(text, &progress_))
        return {};
    if (rc != 0 && rc != ENOENT)
        return withReason("cannot read " + guard().string(), rc);
    return isGuard(text) ? guard().string() + " is damaged: delete " + given_.string() + " and make the standby again"
                         : given_.string() + " is neither empty nor a standby";
}

/** Removes everything but the guard. */
std::string StandbyTarget::clear()
{
    const std::error_code error = removeAllBut(BerkeleyDbNames::ConfigFile, directory_);
    return error ? "cannot remove what an interrupted standby left in " + given_.string() + ": " + error.message()
                 : std::string();
}

std::string StandbyTarget::note(const StandbyProgress& progress)
{
    int error = Base::syncTreeToDisk(directory_);
    if (error == 0)
        error = Base::writeToDisk(directory_ / DraftName, write(progress));
    if (error == 0 && ::rename((directory_ / DraftName).c_str(), guard().c_str()) != 0)
        error = errno;
    for (const fs::path& path : {directory_, directory_.parent_path()}) {
        if (error == 0)
            error = Base::syncToDisk(path);
    }
    if (error != 0)
        return withReason("cannot write " + guard().string(), error);
    progress_ = progress;
    return {};
}

std::string StandbyTarget::release()
{
    int error = Base::syncTreeToDisk(directory_);
    if (error == 0 && ::unlink(guard().c_str()) != 0)
        error = errno;
    if (error == 0)
        error = Base::syncToDisk(directory_);
    return error == 0 ? std::string() : withReason("cannot complete " + given_.string(), error);
}

fs::path StandbyTarget::logDirectory() const
{
    return directory_ / BackupNames::LogDirectory;
}

fs::path StandbyTarget::applyDirectory() const
{
    return logDirectory() / "applying";
}

fs::path StandbyTarget::guard() const
{
    return directory_ / BerkeleyDbNames::ConfigFile;
}

} // namespace Ctl
