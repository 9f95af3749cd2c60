#include "tools/backupnightlycommand.h"

#include "base/directorylock.h"
#include "base/paths.h"
#include "tools/arguments.h"
#include "tools/interruption.h"
#include "tools/messages.h"
#include "tools/newdirectories.h"
#include "tools/resolvedpath.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cerrno>
#include <set>

namespace fs = std::filesystem;

namespace Ctl {

BackupNightlyCommand::BackupNightlyCommand(CLI::App* backup)
    : Command(backup, "nightly", "Make a dated copy of each directory, verify it, then remove old ones",
              "quorvactl backup nightly /srv/shop --to /srv/backup --keep 7")
{
    parser()
        ->add_option("DIRECTORY", directories_, "The directories with the tables, on the server's machine")
        ->required();
    parser()
        ->add_option("--to", to_,
                     "The directory for the copies, which are in a subdirectory with the name of each directory")
        ->required();
    parser()
        ->add_option("--keep", keep_, "How many copies to keep, including the new one")
        ->check(wholeNumber(1, "copies"))
        ->capture_default_str();
    parser()->add_flag("--no-verify", noVerify_, "Do not verify the new copy by a restore");
    parser()->add_flag("--replace", options_.replace, "Replace a backup of the directory to another place");
    parser()->add_flag(
        "--resume", resume_,
        "Make no copy, but resume shipping log files to the newest ones, as needed after a restart of the server");
    parser()
        ->add_option("--stall", options_.stallSeconds, "Give up when a copy has not grown for this many seconds")
        ->check(wholeNumber(1, "seconds"))
        ->capture_default_str();
}

int BackupNightlyCommand::run(const ServerAddress& server)
{
    std::vector<fs::path> directories;
    fs::path to;
    if (const int code = resolve(&directories, &to))
        return code;
    const Interruption interruption;
    NewDirectories made;
    if (const std::string error = made.make(to); !error.empty())
        return fail(error);
    Base::DirectoryLock lock; // on a file system without locks, the user must not start two runs
    if (lock.lock(to) == EWOULDBLOCK)
        return fail("another nightly backup to " + to_ + " is running");
    NightlyOptions options = options_;
    options.keep = static_cast<std::size_t>(keep_);
    options.verify = !noVerify_;
    int result = ExitOk;
    for (const fs::path& directory : directories) {
        if (Interruption::requested())
            break;
        NightlyBackup backup(server, directory, to / directory.filename(), options);
        result = std::max(result, resume_ ? backup.resume() : backup.run());
    }
    made.removeEmpty(); // if no copy was made
    return Interruption::requested() ? fail("interrupted") : result;
}

int BackupNightlyCommand::resolve(std::vector<fs::path>* directories, fs::path* to) const
{
    std::set<fs::path> names;
    for (const std::string& directory : directories_) {
        const fs::path path = resolvedPath(directory);
        if (directory.empty() || !path.has_filename())
            return refuse("\"" + directory + "\" is not a directory for tables");
        if (!names.insert(path.filename()).second)
            return refuse("two directories have the name " + path.filename().string() +
                          "; back them up to different directories, one after the other");
        directories->push_back(path);
    }
    if (to_.empty())
        return refuse("the name of the directory for the copies is empty");
    *to = resolvedPath(to_);
    for (const fs::path& directory : *directories) {
        if (Base::isWithin(*to, directory))
            return refuse("the copies cannot be in " + to->string() + ", as " + directory.string() +
                          " is to be copied: name a directory outside it with --to");
        if (Base::isWithin(directory, *to / directory.filename()))
            return refuse("the copies would be in " + (*to / directory.filename()).string() +
                          ", which is to be copied: name another directory with --to");
    }
    return ExitOk;
}

} // namespace Ctl
