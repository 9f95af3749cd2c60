#include "tools/restorecommand.h"

#include "base/descriptor.h"
#include "base/directorylock.h"
#include "format/backupnames.h"
#include "format/checksum.h"
#include "tools/backupfiles.h"
#include "tools/interruption.h"
#include "tools/messages.h"
#include "tools/restoredenvironment.h"
#include "tools/restoretarget.h"
#include "tools/terminalline.h"

#include <CLI/CLI.hpp>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <map>
#include <optional>
#include <string_view>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace Ctl {

namespace {

/** How far a step is, on a terminal. */
class Progress {
public:
    void show(const char* step, std::size_t done, std::size_t all)
    {
        line_.show(std::string(step) + ' ' + std::to_string(done) + '/' + std::to_string(all));
    }
    void end() { line_.end(); }

private:
    TerminalLine line_;
};

/** For scripts: seconds of UTC, or one word. */
std::string describeTime(std::optional<std::time_t> time)
{
    std::tm parts = {};
    char text[64];
    if (!time || ::gmtime_r(&*time, &parts) == nullptr ||
        std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S UTC", &parts) == 0)
        return "unknown";
    return text;
}

/** True for the directory itself and for all below it, whatever links lead there. */
bool isWithin(const fs::path& path, const fs::path& directory)
{
    std::error_code error;
    const fs::path relative = fs::relative(path, directory, error);
    return !error && !relative.empty() && *relative.begin() != "..";
}

int writeAll(int descriptor, const char* data, std::size_t size)
{
    while (size > 0) {
        const ssize_t written = ::write(descriptor, data, size);
        if (written < 0)
            return errno;
        data += written;
        size -= static_cast<std::size_t>(written);
    }
    return 0;
}

/** Takes the checksum of the first bytes of a file that is read from its beginning. */
class BeginningOfFile {
public:
    explicit BeginningOfFile(std::uint64_t size) : missing_(size) {}

    void add(std::string_view bytes)
    {
        bytes = bytes.substr(0, missing_);
        checksum_.add(bytes);
        missing_ -= bytes.size();
    }

    /** False also when there were fewer bytes. */
    bool hasChecksum(std::uint64_t checksum) const { return missing_ == 0 && checksum_.value() == checksum; }

private:
    std::uint64_t missing_;
    Checksum checksum_;
};

/** Copies a file. 0 or an errno value: the standard library tells of an input/output error when the disk is full. */
int copyFile(const fs::path& from, const fs::path& to, BeginningOfFile* beginning)
{
    const Base::Descriptor source(::open(from.c_str(), O_RDONLY | O_CLOEXEC));
    if (!source.isOpen())
        return errno;
    const Base::Descriptor target(::open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
    if (!target.isOpen())
        return errno;
    std::vector<char> buffer(1024 * 1024);
    while (!Interruption::requested()) {
        const ssize_t size = ::read(source.number(), buffer.data(), buffer.size());
        if (size <= 0)
            return size < 0 ? errno : 0;
        beginning->add({buffer.data(), static_cast<std::size_t>(size)});
        if (const int error = writeAll(target.number(), buffer.data(), static_cast<std::size_t>(size)))
            return error;
    }
    return EINTR;
}

/** The steps of a restore. Each returns an empty string or what went wrong. */
class Restore {
public:
    Restore(fs::path backup, const fs::path& target, UnlistedCopy unlisted)
        : backup_(std::move(backup)), given_(target), unlisted_(unlisted), target_(target)
    {}

    std::string run()
    {
        // A copy that is being made is locked as well, and is named as what it is.
        std::string error;
        if (isUnfinished(backup_, &error))
            return error;
        if (isOpenEnvironment())
            return backup_.string() + " is open in a server";
        if (!readBackup(backup_, unlisted_, &files_, &error))
            return error;
        for (const auto& [name, reason] : files_.leftOut)
            complain((backup_ / name).string() + " is left out: " + reason);
        if (isWithin(given_, backup_))
            return given_.string() + " lies in " + backup_.string() + ", which a restore does not change";
        if (error = target_.prepare(); !error.empty())
            return error;
        error = fill();
        progress_.end();
        return error.empty() ? target_.publish() : error;
    }

    void report() const
    {
        long long sum = 0;
        for (const auto& [table, count] : items_) {
            std::printf("%s: %s\n", table.c_str(), counted(count, "item").c_str());
            sum += count;
        }
        std::printf("data until %s\n", describeTime(log_.lastCommit).c_str());
        std::printf("restored %s with %s to %s\n", counted(static_cast<long long>(items_.size()), "table").c_str(),
                    counted(sum, "item").c_str(), given_.c_str());
    }

private:
    std::string fill()
    {
        for (const auto step : {&Restore::copyLogs, &Restore::checkLogs, &Restore::copyDatabases, &Restore::recover,
                                &Restore::verify, &Restore::count}) {
            std::string error = (this->*step)();
            if (Interruption::requested())
                return "restore stopped: interrupted";
            if (!error.empty())
                return error;
        }
        return {};
    }

    /**
     * A copy with a list is none: had somebody opened it since, the log file in it would not be what was copied. The
     * lock is not kept, as the server takes it when it ships log files.
     */
    bool isOpenEnvironment() const
    {
        std::error_code error;
        Base::DirectoryLock lock;
        return !fs::exists(backup_ / BackupNames::ListFile, error) &&
               lock.lock(backup_, Base::DirectoryLock::Shared) == EWOULDBLOCK;
    }

    std::string copy(const BackupFile& file, const std::string& name)
    {
        progress_.show("copying", ++copied_, files_.databases.size() + files_.logs.size());
        const fs::path to = home() / name;
        std::error_code failure;
        fs::create_directories(to.parent_path(), failure);
        BeginningOfFile beginning(file.listed ? file.listed->size : 0);
        if (const int error = failure ? failure.value() : copyFile(file.path, to, &beginning))
            return "cannot copy " + file.path.string() + ": " + std::strerror(error);
        if (file.listed && !beginning.hasChecksum(file.listed->checksum))
            return ofBackup(file.path.lexically_relative(backup_).string() + " is damaged: it is not what was copied");
        return {};
    }

    std::string copyLogs()
    {
        for (const auto& [number, file] : files_.logs) {
            if (auto error = copy(file, BackupNames::logFile(number)); !error.empty())
                return error;
        }
        return {};
    }

    /** Before the databases are copied, as they may be large. */
    std::string checkLogs()
    {
        if (std::string error = readLog(home(), &log_); !error.empty())
            return ofBackup(error);
        if (!log_.partial)
            return checkLastLog();
        return backup_.string() + " has a gap: " + BackupNames::logFile(*log_.partial) +
               " is not whole, and what follows cannot be applied without the rest of it";
    }

    /**
     * A log file is shipped when it is full, so its records reach to within one of its full size. A crash while it was
     * being shipped leaves the beginning of it, which is good as far as it goes; records behind a place that cannot be
     * read are a sign of damage.
     */
    std::string checkLastLog()
    {
        const fs::path& last = files_.logs.rbegin()->second.path;
        if (last.parent_path().filename() != BackupNames::LogDirectory || Interruption::requested())
            return {};
        std::error_code error;
        const std::uint64_t size = fs::file_size(last, error);
        const std::string end = std::to_string(log_.end);
        if (error)
            return "cannot read " + last.string() + ": " + error.message();
        if (size > log_.end + LargestRecord)
            return last.string() + " is damaged: its records cannot be read from byte " + end +
                   " on; cut to that size, \"truncate -s " + end + "\", it is restored up to there";
        if (log_.end + LargestRecord < log_.fullSize) {
            progress_.end();
            complain(last.string() + " is not whole: its records end at byte " + end +
                     ", and what followed them is not restored");
        }
        return {};
    }

    std::string copyDatabases()
    {
        for (const auto& [name, file] : files_.databases) {
            if (auto error = copy(file, name); !error.empty())
                return error;
        }
        return {};
    }

    std::string recover()
    {
        progress_.show("recovering", 0, 1);
        return ofBackup(recoverEnvironment(home()));
    }

    std::string verify()
    {
        const auto verifying = [&](std::size_t done, std::size_t all) { progress_.show("verifying", done, all); };
        return ofBackup(verifyDatabases(home(), verifying));
    }

    std::string count() { return ofBackup(countItems(home(), &items_)); }

    /** The directory that is worked on has a name that says nothing to the reader of a message. */
    std::string ofBackup(const std::string& error) const
    {
        return error.empty() ? error : backup_.string() + ": " + error;
    }

    const fs::path& home() const { return target_.workDirectory(); }

    const fs::path backup_;
    const fs::path given_; // the target, as in messages
    const UnlistedCopy unlisted_;
    RestoreTarget target_;
    BackupFiles files_;
    LogFacts log_;
    std::map<std::string, long long> items_; // by table
    std::size_t copied_ = 0;                 // files
    Progress progress_;
};

} // namespace

RestoreCommand::RestoreCommand(CLI::App* app)
    : Command(app, "restore", "Create an environment directory from a backup; needs no server",
              "quorvactl restore /srv/backup/shop build/restored")
{
    parser()->fallthrough(false); // no server, no address
    parser()->add_option("BACKUPDIR", backup_, "The backup directory, which is left unchanged")->required();
    parser()
        ->add_option("TARGETDIR", target_, "The new environment directory, which must be empty or not exist")
        ->required();
    parser()->add_flag("--without-list", withoutList_,
                       "Accept a copy without a list of its files, although some may be missing");
}

int RestoreCommand::run(const ServerAddress&)
{
    const Interruption interruption;
    Restore restore(backup_, target_, withoutList_ ? UnlistedCopy::Accepted : UnlistedCopy::Refused);
    const std::string error = restore.run();
    if (!error.empty()) {
        complain(error);
        return ExitErrorReply;
    }
    restore.report();
    return ExitOk;
}

} // namespace Ctl
