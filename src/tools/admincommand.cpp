#include "tools/admincommand.h"

#include "client/connection.h"
#include "format/backupnames.h"
#include "tools/session.h"

#include <QVariantMap>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <thread>

#include <fcntl.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace Ctl {

namespace {

/** Sends an administrative action as the UpdateTable that carries it. `failed` begins the message on an error reply. */
int sendAction(const ServerAddress& server, const std::string& table, const char* action, const std::string& value,
               const std::string& failed)
{
    const QVariantMap body{{"TableName", QString::fromStdString(table)},
                           {"ProvisionedThroughput", QVariantMap{{action, QString::fromStdString(value)}}}};
    Session session(server);
    QVariantMap reply;
    const int code = session.request("UpdateTable", body, &reply);
    if (code != ExitErrorReply)
        return code;
    if (isNotFound(reply)) {
        complainDirectory(failed, table, reply);
        return code;
    }
    const bool refused = errorType(reply) == "ConditionalCheckFailedException";
    complainReply(failed, reply, refused ? "quorvactl backup stop; another backup runs" : "");
    return code;
}

/** The server has a working directory of its own, so it is told whole paths. */
std::string absolute(const std::string& path)
{
    return fs::absolute(path).lexically_normal().string();
}

std::uintmax_t bytesIn(const fs::path& directory)
{
    std::uintmax_t sum = 0;
    std::error_code error;
    for (fs::directory_iterator entry(directory, error); !error && entry != fs::directory_iterator();
         entry.increment(error)) {
        std::error_code vanished;
        const auto size = entry->file_size(vanished);
        sum += vanished ? 0 : size;
    }
    return sum;
}

fs::path markerIn(const fs::path& directory)
{
    return directory / BackupNames::Marker;
}

/** Makes the marker, which must not be there yet. 0 or an errno value. */
int makeMarker(const fs::path& directory)
{
    const int descriptor = ::open(markerIn(directory).c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    return descriptor < 0 ? errno : ::close(descriptor);
}

/** Tells, before anything is made for it, when there is no server. */
bool isReachable(const ServerAddress& server)
{
    Client::Connection connection;
    if (connect(server, &connection))
        return true;
    complainNoReply(server, connection);
    return false;
}

} // namespace

FlushCommand::FlushCommand(CLI::App* app)
    : command_(app->add_subcommand("flush", "Force the log of a table's environment to disk"))
{
    command_->fallthrough();
    addTableArgument(command_, &table_);
    addExample(command_, "quorvactl flush 'build/shop|orders'");
}

int FlushCommand::run(const ServerAddress& server) const
{
    return sendAction(server, table_, "FlushDB", "", "cannot flush " + table_);
}

BackupCommand::BackupCommand(CLI::App* app)
    : command_(app->add_subcommand("backup", "Hot backup of the environment that a table is in"))
{
    command_->fallthrough();
    command_->require_subcommand(1);
    start_ = command_->add_subcommand("start", "Copy the environment to a directory, then ship its log files there");
    update_ = command_->add_subcommand("update", "Ship log files to the directory of an earlier copy");
    stop_ = command_->add_subcommand("stop", "Stop copying and shipping");
    for (CLI::App* command : {start_, update_, stop_}) {
        command->fallthrough();
        addTableArgument(command, &table_);
    }
    for (CLI::App* command : {start_, update_})
        command->add_option("DIR", directory_, "The backup directory, on the server's machine")->required();
    addExample(command_, "quorvactl backup start 'build/shop|orders' /srv/backup/shop --wait");
    addExample(start_, "quorvactl backup start 'build/shop|orders' /srv/backup/shop --wait");
    addExample(update_, "quorvactl backup update 'build/shop|orders' /srv/backup/shop");
    addExample(stop_, "quorvactl backup stop 'build/shop|orders'");
    start_->add_flag("--wait", wait_, "Wait until the copy is complete");
    start_->add_option("--stall", stallSeconds_, "With --wait: give up when the copy has not grown for this long")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
}

int BackupCommand::run(const ServerAddress& server) const
{
    if (start_->parsed())
        return start(server);
    if (update_->parsed())
        return sendAction(server, table_, "UpdateDbBackup", absolute(directory_),
                          "cannot ship the log files of " + table_ + " to " + directory_);
    return sendAction(server, table_, "StopDbBackup", "", "cannot stop the backup of " + table_);
}

int BackupCommand::start(const ServerAddress& server) const
{
    if (!isReachable(server))
        return ExitNoReply;
    const std::string directory = absolute(directory_);
    std::error_code error;
    fs::create_directories(directory, error);
    if (const int failure = makeMarker(directory)) {
        if (failure == EEXIST)
            complain("another backup to " + directory +
                     " is under way, or one was cut off: " + markerIn(directory).string() + " is there");
        else
            complain("cannot write " + markerIn(directory).string() + ": " + std::strerror(failure));
        return ExitErrorReply;
    }
    const int code = sendAction(server, table_, "DbBackup", directory, "cannot back up " + table_ + " to " + directory);
    if (code == ExitErrorReply)
        fs::remove(markerIn(directory), error); // no backup will do that
    else if (code == ExitNoReply)
        complain(markerIn(directory).string() + " stays: the server may have begun the copy");
    if (code != ExitOk)
        return code;
    return wait_ ? waitUntilComplete(directory) : ExitOk;
}

/** The server deletes the marker when the copy is complete; when it fails, only its log tells, and the copy stands
 * still. */
int BackupCommand::waitUntilComplete(const std::string& directory) const
{
    using Clock = std::chrono::steady_clock;
    const bool terminal = ::isatty(STDERR_FILENO) != 0;
    std::uintmax_t bytes = 0;
    Clock::time_point grown = Clock::now();
    std::error_code error;
    while (fs::exists(markerIn(directory), error)) {
        if (const auto size = bytesIn(directory); size != bytes) {
            bytes = size;
            grown = Clock::now();
        }
        if (Clock::now() - grown > std::chrono::seconds(stallSeconds_)) {
            complain("the copy does not grow any more; the server's log tells why");
            return ExitErrorReply;
        }
        if (terminal)
            std::fprintf(stderr, "\r%.1f MB copied", static_cast<double>(bytes) / 1e6);
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    if (terminal)
        std::fprintf(stderr, "\r%.1f MB copied, complete\n", static_cast<double>(bytesIn(directory)) / 1e6);
    return ExitOk;
}

} // namespace Ctl
