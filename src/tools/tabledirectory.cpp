#include "tools/tabledirectory.h"

#include "base/directoryentries.h"
#include "base/fileio.h"
#include "base/filesync.h"
#include "format/backupnames.h"
#include "format/berkeleydbnames.h"
#include "format/logfiles.h"
#include "format/tablename.h"
#include "tools/messages.h"
#include "tools/outputfile.h"
#include "tools/resolvedpath.h"
#include "tools/restoretarget.h"
#include "tools/standbytarget.h"

#include <cerrno>
#include <system_error>
#include <utility>

#include <sys/stat.h>

namespace fs = std::filesystem;

namespace Ctl {

namespace {

constexpr mode_t DirectoryMode = 0770; // the server makes files with 0660; the process's umask applies to both
constexpr const char* FileSystemsOwn = "lost+found";

/** Whether a server would take the directory for an environment that has been used or has settings of its own. */
bool holdsEnvironment(const fs::path& directory)
{
    return isThere(directory / BerkeleyDbNames::ConfigFile) || !LogFiles::numbersIn(directory).empty();
}

} // namespace

TableDirectory::TableDirectory(const std::string& directory) : given_(directory), path_(resolvedPath(directory)) {}

std::string TableDirectory::configPath() const
{
    return (fs::path(given_) / BerkeleyDbNames::ConfigFile).string();
}

std::string TableDirectory::look(std::optional<std::uint64_t> cacheBytes, std::string* advice)
{
    if (std::string error = checkName(advice); !error.empty())
        return error;
    std::error_code error;
    const fs::file_status status = fs::status(path_, error);
    if (status.type() == fs::file_type::none)
        return "cannot make " + given_ + ": " + error.message();
    exists_ = fs::exists(status);
    if (!exists_ && isThere(path_))
        return given_ + " is a dangling link";
    if (exists_ && !fs::is_directory(status))
        return given_ + " is not a directory";
    std::string config;
    if (std::string problem = exists_ ? lookInside(&config, advice) : std::string(); !problem.empty())
        return problem;
    if (std::string problem = isEnvironment_ ? std::string() : lookAbove(advice); !problem.empty())
        return problem;
    settings_ = DirectorySettings::merge(config, cacheBytes);
    return {};
}

std::string TableDirectory::checkName(std::string* advice) const
{
    if (given_.empty())
        return "the directory's name is empty";
    const std::string cannot = "no directory for tables can be called " + given_ + ": ";
    if (given_.find('|') != std::string::npos) {
        const std::string directory(TableNames::directory(given_));
        *advice = directory.empty() ? "DIRECTORY" : "quorvactl init '" + directory + '\'';
        return cannot + "a \"|\" separates the directory from the table in a TableName";
    }
    // A table in the directory above could not have it on its path, nor a backup of that directory contain it.
    const std::string tableInIt = path_.filename().string() + "/t";
    const char* const reason = path_.has_filename() ? TableNames::refusal(tableInIt) : nullptr;
    return reason != nullptr ? cannot + reason : std::string();
}

std::string TableDirectory::lookInside(std::string* config, std::string* advice)
{
    const int rc = Base::forEachEntry(path_, [this](const fs::directory_entry& entry) {
        isEmpty_ = isEmpty_ && entry.path().filename() == FileSystemsOwn;
        return 0;
    });
    if (rc != 0)
        return withReason("cannot read " + given_, rc);
    isEnvironment_ = holdsEnvironment(path_);
    if (std::string problem = readConfig(config); !problem.empty())
        return problem;
    if (RestoreTarget::isGuard(*config)) {
        *advice = "the restore once more, or delete the directory";
        return "a restore to " + given_ + " has not finished";
    }
    if (StandbyTarget::isGuard(*config)) {
        *advice = "quorvactl standby " + given_ + " --switch, which makes a directory for tables of it";
        return given_ + " is a standby";
    }
    for (const char* name : {BackupNames::Marker, BackupNames::ListFile, BackupNames::UnfinishedListFile}) {
        if (isThere(path_ / name)) {
            *advice = "quorvactl restore, which makes a directory for tables from it";
            return given_ + " contains a backup";
        }
    }
    return {};
}

std::string TableDirectory::lookAbove(std::string* advice) const
{
    for (fs::path above = path_.parent_path(); above != above.root_path(); above = above.parent_path()) {
        if (holdsEnvironment(above)) {
            *advice = "a directory beside it";
            return given_ + " lies in " + above.string() + ", which is a directory for tables itself";
        }
    }
    return {};
}

std::string TableDirectory::readConfig(std::string* text) const
{
    const fs::path path = path_ / BerkeleyDbNames::ConfigFile;
    if (!isThere(path))
        return {};
    std::error_code unknown;
    if (!fs::is_regular_file(path, unknown))
        return configPath() + " is not a regular file";
    const int error = Base::readFile(path, text);
    return error == 0 ? std::string() : withReason("cannot read " + configPath(), error);
}

std::string TableDirectory::make()
{
    std::string error = makeDirectories();
    if (error.empty())
        error = writeConfig();
    if (error.empty())
        return {};
    for (; !made_.empty(); made_.pop_back()) {
        std::error_code ignored; // then an empty directory stays
        fs::remove(made_.back(), ignored);
    }
    return error;
}

/** The directories above it get mkdir's default mode. */
std::string TableDirectory::makeDirectories()
{
    std::vector<fs::path> missing; // the innermost first
    for (fs::path path = path_; !isThere(path); path = path.parent_path())
        missing.push_back(path);
    for (; !missing.empty(); missing.pop_back()) {
        const fs::path& path = missing.back();
        if (::mkdir(path.c_str(), path == path_ ? DirectoryMode : 0777) != 0)
            return withReason("cannot make " + given_, errno);
        made_.push_back(path);
        if (const int error = Base::syncToDisk(path.parent_path()))
            return withReason("cannot make " + given_, error);
    }
    return {};
}

std::string TableDirectory::writeConfig()
{
    const int error = lock_.lock(path_);
    if (error == EWOULDBLOCK)
        return given_ + " is open in a server, or another command fills it";
    // Any other failure means that the file system does not support such locks.
    OutputFile file((path_ / BerkeleyDbNames::ConfigFile).string());
    std::string problem = file.open();
    QByteArray text = QByteArray::fromStdString(settings_.text);
    text.chop(1); // the line feed that writeLine() adds
    if (problem.empty())
        problem = file.writeLine(text);
    return problem.empty() ? file.commit() : problem;
}

} // namespace Ctl
