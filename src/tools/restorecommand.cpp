#include "tools/restorecommand.h"

#include "tools/interruption.h"
#include "tools/restoresteps.h"

#include <cstddef>
#include <cstdio>
#include <ctime>
#include <optional>

#include <unistd.h>

namespace Ctl {

namespace {

/** One line on a terminal that is written over and over; nothing elsewhere. */
class Progress {
public:
    void end()
    {
        if (shown_)
            std::fputc('\n', stderr);
        shown_ = false;
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

void report(const RestoreSteps& restored, const std::string& target)
{
    long long sum = 0;
    for (const auto& [table, count] : restored.items()) {
        std::printf("%s: %s\n", table.c_str(), counted(count, "item").c_str());
        sum += count;
    }
    std::printf("data until %s\n", describeTime(restored.log().lastCommit).c_str());
    std::printf("restored %s with %s to %s\n",
                counted(static_cast<long long>(restored.items().size()), "table").c_str(), counted(sum, "item").c_str(),
                target.c_str());
}

} // namespace

RestoreCommand::RestoreCommand(CLI::App* app)
    : command_(app->add_subcommand("restore", "Make an environment directory out of a hot backup; needs no server"))
{
    command_->add_option("BACKUPDIR", backup_, "The backup directory; it is not changed")->required();
    command_->add_option("TARGETDIR", target_, "The new environment directory: empty, or not there yet")->required();
    command_->add_flag("--without-list", withoutList_,
                       "Accept a copy without a list of its files, though some may be missing");
    addExample(command_, "quorvactl restore /srv/backup/shop build/restored");
}

int RestoreCommand::run() const
{
    const Interruption interruption;
    Progress progress;
    RestoreSteps restore(backup_, target_, withoutList_ ? UnlistedCopy::Accepted : UnlistedCopy::Refused,
                         {[&](const char* step, std::size_t done, std::size_t all) { progress.show(step, done, all); },
                          [&] { progress.end(); }});
    const std::string error = restore.run();
    if (!error.empty()) {
        complain(error);
        return ExitErrorReply;
    }
    report(restore, target_);
    return ExitOk;
}

} // namespace Ctl
