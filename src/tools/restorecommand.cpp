#include "tools/restorecommand.h"

#include "format/backupnames.h"
#include "tools/backupfiles.h"
#include "tools/restoredenvironment.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <map>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace Ctl {

namespace {

/** One line on a terminal that is written over and over; nothing elsewhere. */
class Progress {
public:
    ~Progress()
    {
        if (shown_)
            std::fputc('\n', stderr);
    }

    void show(const char* step, std::size_t done, std::size_t all)
    {
        if (!terminal_)
            return;
        std::fprintf(stderr, "\r\033[K%s %zu/%zu", step, done, all);
        shown_ = true;
    }

private:
    const bool terminal_ = ::isatty(STDERR_FILENO) != 0;
    bool shown_ = false;
};

/** The directory that a restore fills. What was put there goes again unless keep() says that all went well. */
class Target {
public:
    explicit Target(fs::path directory) : directory_(std::move(directory)) {}

    ~Target()
    {
        if (prepared_ && !kept_)
            clear();
        if (descriptor_ >= 0)
            ::close(descriptor_);
    }
    Target(const Target&) = delete;
    Target& operator=(const Target&) = delete;

    /**
     * Makes the directory, which must be empty when it is there already, and holds it as a server does, which therefore
     * keeps its hands off while the files are put there. An empty string or what is wrong.
     */
    std::string prepare()
    {
        std::error_code error;
        created_ = fs::create_directory(directory_, error);
        if (error)
            return "cannot make " + directory_.string() + ": " + error.message();
        descriptor_ = ::open(directory_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (descriptor_ >= 0 && ::flock(descriptor_, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK)
            return directory_.string() + " is open in a server";
        if (!fs::is_empty(directory_, error))
            return error ? "cannot read " + directory_.string() + ": " + error.message()
                         : directory_.string() + " is not empty";
        prepared_ = true;
        return {};
    }

    void keep() { kept_ = true; }
    const fs::path& directory() const { return directory_; }

private:
    void clear()
    {
        std::error_code ignored;
        for (const fs::directory_entry& entry : fs::directory_iterator(directory_, ignored))
            fs::remove_all(entry.path(), ignored);
        if (created_)
            fs::remove(directory_, ignored);
    }

    const fs::path directory_;
    int descriptor_ = -1; // carries the lock; owned
    bool created_ = false;
    bool prepared_ = false;
    bool kept_ = false;
};

/** True for the directory itself and for all below it, whatever links lead there. */
bool isWithin(const fs::path& path, const fs::path& directory)
{
    std::error_code error;
    const fs::path relative = fs::relative(path, directory, error);
    return !error && !relative.empty() && *relative.begin() != "..";
}

/** A descriptor that is closed with the object. */
class File {
public:
    File(const fs::path& path, int flags, mode_t mode = 0) : descriptor_(::open(path.c_str(), flags, mode)) {}
    ~File()
    {
        if (descriptor_ >= 0)
            ::close(descriptor_);
    }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    int descriptor() const { return descriptor_; }

private:
    const int descriptor_;
};

/** Copies a file. 0 or an errno value: the standard library tells of an input/output error when the disk is full. */
int copyFile(const fs::path& from, const fs::path& to)
{
    const File source(from, O_RDONLY | O_CLOEXEC);
    if (source.descriptor() < 0)
        return errno;
    const File target(to, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (target.descriptor() < 0)
        return errno;
    std::vector<char> buffer(1024 * 1024);
    for (;;) {
        const ssize_t size = ::read(source.descriptor(), buffer.data(), buffer.size());
        if (size <= 0)
            return size < 0 ? errno : 0;
        for (ssize_t done = 0; done < size;) {
            const ssize_t written =
                ::write(target.descriptor(), buffer.data() + done, static_cast<std::size_t>(size - done));
            if (written < 0)
                return errno;
            done += written;
        }
    }
}

std::string copyFiles(const BackupFiles& files, const fs::path& target, Progress* progress)
{
    const std::size_t all = files.databases.size() + files.logs.size();
    std::size_t done = 0;
    const auto copy = [&](const fs::path& from, const std::string& name) -> std::string {
        progress->show("copying", ++done, all);
        const int error = copyFile(from, target / name);
        return error != 0 ? "cannot copy " + from.string() + ": " + std::strerror(error) : std::string();
    };
    for (const fs::path& database : files.databases) {
        if (auto error = copy(database, database.filename().string()); !error.empty())
            return error;
    }
    for (const auto& [number, path] : files.logs) {
        if (auto error = copy(path, BackupNames::logFile(number)); !error.empty())
            return error;
    }
    return {};
}

void report(const fs::path& target, const std::map<std::string, long long>& items)
{
    long long sum = 0;
    for (const auto& [table, count] : items) {
        std::printf("%s: %lld items\n", table.c_str(), count);
        sum += count;
    }
    std::printf("restored %zu tables with %lld items to %s\n", items.size(), sum, target.c_str());
}

/** An empty string or what went wrong. */
std::string restore(const fs::path& backup, const fs::path& targetDirectory)
{
    BackupFiles files;
    std::string error;
    if (!readBackup(backup, &files, &error))
        return error;
    if (isWithin(targetDirectory, backup))
        return targetDirectory.string() + " lies in " + backup.string() + ", which a restore does not change";
    Target target(targetDirectory);
    if (error = target.prepare(); !error.empty())
        return error;

    std::map<std::string, long long> items;
    {
        Progress progress;
        if (error = copyFiles(files, target.directory(), &progress); !error.empty())
            return error;
        progress.show("recovering", 0, 1);
        if (error = recoverEnvironment(target.directory()); !error.empty())
            return error;
        const auto verifying = [&](std::size_t done, std::size_t all) { progress.show("verifying", done, all); };
        if (error = verifyDatabases(target.directory(), verifying); !error.empty())
            return error;
        if (error = countItems(target.directory(), &items); !error.empty())
            return error;
    }
    target.keep();
    report(target.directory(), items);
    return {};
}

} // namespace

RestoreCommand::RestoreCommand(CLI::App* app)
    : command_(app->add_subcommand("restore", "Make an environment directory out of a hot backup; needs no server"))
{
    command_->add_option("BACKUPDIR", backup_, "The backup directory; it is not changed")->required();
    command_->add_option("TARGETDIR", target_, "The new environment directory: empty, or not there yet")->required();
    addExample(command_, "quorvactl restore /srv/backup/shop build/restored");
}

int RestoreCommand::run() const
{
    const std::string error = restore(backup_, target_);
    if (error.empty())
        return ExitOk;
    complain(error);
    return ExitErrorReply;
}

} // namespace Ctl
