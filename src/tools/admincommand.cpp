#include "tools/admincommand.h"

#include "protocol/envelope.h"
#include "tools/copytarget.h"
#include "tools/session.h"

#include <QVariantMap>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <thread>

#include <unistd.h>

namespace fs = std::filesystem;

namespace Ctl {

namespace {

/** Sends an administrative action as the UpdateTable that carries it. `failed` begins the message on an error reply. */
int sendAction(const ServerAddress& server, const std::string& table, const char* action, const std::string& value,
               const std::string& failed)
{
    QVariantMap body = Bodies::table(QString::fromStdString(table));
    body.insert("ProvisionedThroughput", QVariantMap{{action, QString::fromStdString(value)}});
    Session session(server);
    QVariantMap reply;
    const int code = session.request(Operations::UpdateTable, body, &reply);
    if (code != ExitErrorReply)
        return code;
    if (isNotFound(reply)) {
        complainDirectory(failed, table, reply);
        return code;
    }
    const bool refused = Envelopes::errorType(reply) == ErrorTypes::ConditionalCheckFailed;
    complainReply(failed, reply, refused ? "quorvactl backup stop; another backup runs" : "");
    return code;
}

/** The only text that a request can carry. */
bool isUtf8(const std::string& text)
{
    return QString::fromStdString(text).toStdString() == text;
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

/** What the backup of an environment does at the moment. */
struct BackupState {
    QString state; // "none", "copying", "shipping" or "stopping"
    std::string target;

    /** A copy, or what follows it, to a directory: a stop takes effect a moment after it was asked for. */
    bool isCopying(const std::string& directory) const
    {
        return (state == "copying" || state == "stopping") && isTo(directory);
    }
    bool isShipping(const std::string& directory) const { return state == "shipping" && isTo(directory); }
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
    const int code = session->request(Operations::DescribeBackup, Bodies::table(QString::fromStdString(table)), &reply);
    if (code == ExitErrorReply && isNotFound(reply))
        complainDirectory(failed, table, reply);
    else if (code == ExitErrorReply)
        complainReply(failed, reply);
    const QVariantMap backup = reply.value("Backup").toMap();
    *state = {backup.value("State").toString(), backup.value("Target").toString().toStdString()};
    return code;
}

void complainMarkerStays(const CopyTarget& target)
{
    complain(target.marker().string() + " stays: the server may have begun the copy",
             {"try: once no server is writing to the directory, remove this file and start the backup again"});
}

/** The server does nothing for the directory any more. An exit code. */
int conclude(const std::string& directory, bool hasBegun, CopyTarget* target)
{
    std::error_code error;
    if (target->isComplete(&error))
        return ExitOk;
    const bool isMarked = fs::exists(target->marker(), error) && !error;
    if (error) {
        complain("cannot see whether the copy in " + directory + " is complete: " + error.message());
    } else if (!hasBegun && isMarked) {
        target->undo();
        complain("the server has refused to copy to " + directory,
                 {"try: the server's log; a line \"Dbenv backup failed rc\" has the code of the reason"});
    } else if (isMarked) {
        complain("the copy to " + directory + " has failed; the server's log tells why",
                 {"try: the line \"Dbenv backup failed rc\" there; then remove " + target->marker().string() +
                  " and start the backup again"});
    } else {
        complain("the copy to " + directory + " has ended, and there is no complete one",
                 {"try: the server's log; the directory or files in it were renamed or removed during the copy"});
    }
    return ExitErrorReply;
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
        ->check(wholeNumber(1, "seconds"))
        ->capture_default_str();
}

int BackupCommand::run(const ServerAddress& server) const
{
    if (start_->parsed())
        return start(server);
    if (update_->parsed())
        return update(server);
    return sendAction(server, table_, "StopDbBackup", "", "cannot stop the backup of " + table_);
}

/** The server has a working directory of its own, so it is told whole paths. An exit code. */
int BackupCommand::checkDirectory(std::string* directory) const
{
    if (directory_.empty()) {
        complain("the name of the backup directory is empty");
        return ExitUsage;
    }
    std::error_code error;
    const fs::path absolute = fs::absolute(directory_, error);
    if (error) {
        complain("cannot find " + directory_ + ": " + error.message());
        return ExitErrorReply;
    }
    *directory = absolute.lexically_normal().string();
    if (!isUtf8(*directory)) {
        complain("the name of the backup directory is not valid UTF-8");
        return ExitUsage;
    }
    return ExitOk;
}

int BackupCommand::start(const ServerAddress& server) const
{
    std::string directory;
    if (const int code = checkDirectory(&directory))
        return code;
    Session session(server);
    if (const int code = checkNoOther(&session, directory))
        return code;
    CopyTarget target(directory);
    if (const std::string error = target.prepare(); !error.empty()) {
        std::error_code unreadable;
        if (fs::exists(target.marker(), unreadable))
            complain(error, {"try: if no server is writing to the directory, remove this file and start again"});
        else
            complain(error);
        return ExitErrorReply;
    }
    const int code = sendAction(server, table_, "DbBackup", directory, "cannot back up " + table_ + " to " + directory);
    if (code == ExitErrorReply)
        target.undo(); // no backup will do that
    else if (code == ExitNoReply)
        complainMarkerStays(target);
    return code == ExitOk ? follow(&session, directory, &target) : code;
}

/** The reply says that shipping was begun. A directory that the server then finds unfit ends it in a moment. */
int BackupCommand::update(const ServerAddress& server) const
{
    using Clock = std::chrono::steady_clock;
    constexpr std::chrono::seconds ToRefuse{1};
    std::string directory;
    if (const int code = checkDirectory(&directory))
        return code;
    const std::string failed = "cannot ship the log files of " + table_ + " to " + directory_;
    if (const int code = sendAction(server, table_, "UpdateDbBackup", directory, failed))
        return code;
    Session session(server);
    const Clock::time_point end = Clock::now() + ToRefuse;
    BackupState state;
    do {
        if (const int code = askState(&session, table_, "cannot ask for the backup of " + table_, &state))
            return code;
        if (!state.isShipping(directory)) {
            complain(failed + ": the shipping has ended",
                     {"try: the server's log; after \"log backup failed for\", or in the line before it, it has the "
                      "reason"});
            return ExitErrorReply;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    } while (Clock::now() < end);
    return ExitOk;
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
    complain("the environment of " + table_ + " is already being backed up to " + state.target +
                 ", and that backup would end",
             {"try: --replace, if " + state.target + " no longer has to be kept up to date"});
    return ExitErrorReply;
}

/**
 * Until the copy is complete, or without --wait until it is seen to have begun: what the server refuses, it refuses at
 * once, but after its reply. The server's word ends the waiting, and the files tell how the copy went. The marker alone
 * says nothing, as others can delete it, or rename its directory.
 */
int BackupCommand::follow(Session* session, const std::string& directory, CopyTarget* target) const
{
    using Clock = std::chrono::steady_clock;
    constexpr std::chrono::seconds ToBegin{5};
    const bool terminal = wait_ && ::isatty(STDERR_FILENO) != 0;
    const Clock::time_point started = Clock::now();
    std::uintmax_t bytes = 0;
    Clock::time_point grown = started;
    for (bool hasBegun = false;;) {
        BackupState state;
        if (const int code = askState(session, table_, "cannot ask for the backup of " + table_, &state)) {
            complainMarkerStays(*target);
            return code;
        }
        hasBegun = hasBegun || target->hasBegun();
        if (!state.isCopying(directory)) {
            const int code = conclude(directory, hasBegun, target);
            if (terminal && code == ExitOk)
                std::fprintf(stderr, "\r%.1f MB copied, complete\n", static_cast<double>(bytesIn(directory)) / 1e6);
            return code;
        }
        if (!wait_ && (hasBegun || Clock::now() - started > ToBegin))
            return ExitOk;
        if (const auto size = bytesIn(directory); size != bytes) {
            bytes = size;
            grown = Clock::now();
        }
        if (wait_ && Clock::now() - grown > std::chrono::seconds(stallSeconds_)) {
            complain("the copy does not grow any more; the server's log tells why");
            return ExitErrorReply;
        }
        if (terminal)
            std::fprintf(stderr, "\r%.1f MB copied", static_cast<double>(bytes) / 1e6);
        std::this_thread::sleep_for(std::chrono::milliseconds(wait_ ? 50 : 5));
    }
}

} // namespace Ctl
