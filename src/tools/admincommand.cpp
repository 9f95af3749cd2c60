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

/** In all files below the directory, as a copy has sub-directories. */
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

/** What the backup of an environment does at the moment. */
struct BackupState {
    QString state; // "none", "copying", "shipping" or "stopping"
    std::string target;

    bool isIdle() const { return state == "none"; }
    bool isTo(const std::string& directory) const
    {
        std::error_code error;
        return target == directory || fs::equivalent(target, directory, error);
    }
};

/** An exit code; `failed` begins the message on an error reply. Others have been told. */
int askState(Session* session, const std::string& table, const std::string& failed, BackupState* state)
{
    QVariantMap reply;
    const int code =
        session->request("Quorva_1.DescribeBackup", {{"TableName", QString::fromStdString(table)}}, &reply);
    if (code == ExitErrorReply)
        complainReply(failed, reply);
    const QVariantMap backup = reply.value("Backup").toMap();
    *state = {backup.value("State").toString(), backup.value("Target").toString().toStdString()};
    return code;
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
    start_->add_flag("--replace", replace_, "End a backup of the environment to another directory");
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
    const std::string directory = absolute(directory_);
    Session session(server);
    if (const int code = checkNoOther(&session, directory))
        return code;
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
    return wait_ ? waitUntilComplete(&session, directory) : ExitOk;
}

/**
 * The server would end the shipping to another directory in silence, and a restore of that give old data. Asked before
 * anything is made for the copy.
 */
int BackupCommand::checkNoOther(Session* session, const std::string& directory) const
{
    BackupState state;
    if (const int code = askState(session, table_, "cannot back up " + table_ + " to " + directory, &state))
        return code;
    const bool goesOn = state.state == "copying" || state.state == "shipping";
    if (!goesOn || replace_ || state.isTo(directory))
        return ExitOk;
    complain("the environment of " + table_ + " is backed up to " + state.target + " already, which would end",
             {"try: --replace, if " + state.target + " need not be kept up to date any more"});
    return ExitErrorReply;
}

/**
 * The server deletes the marker when the copy is complete, before it goes on to shipping or ends. So a marker that is
 * still there after the server has said that it does nothing for this directory is that of a copy that failed.
 */
int BackupCommand::waitUntilComplete(Session* session, const std::string& directory) const
{
    using Clock = std::chrono::steady_clock;
    const bool terminal = ::isatty(STDERR_FILENO) != 0;
    std::uintmax_t bytes = 0;
    Clock::time_point grown = Clock::now();
    std::error_code error;
    while (fs::exists(markerIn(directory), error)) {
        BackupState state;
        if (const int code = askState(session, table_, "cannot ask for the backup of " + table_, &state))
            return code;
        if ((state.isIdle() || !state.isTo(directory)) && fs::exists(markerIn(directory), error)) {
            complain("the copy to " + directory + " has failed; the server's log tells why");
            return ExitErrorReply;
        }
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
