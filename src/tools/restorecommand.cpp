#include "tools/restorecommand.h"

#include "tools/backupseries.h"
#include "tools/interruption.h"
#include "tools/messages.h"
#include "tools/restoresteps.h"
#include "tools/terminalline.h"
#include "tools/times.h"

#include <CLI/CLI.hpp>

#include <cstddef>
#include <ctime>
#include <vector>

namespace Ctl {

namespace {

/** Shows the progress of a step on a terminal. */
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

int report(const RestoreSteps& restored, const std::string& target)
{
    std::vector<std::string> lines;
    long long sum = 0;
    for (const auto& [table, count] : restored.items()) {
        lines.push_back(table + ": " + counted(count, "item"));
        sum += count;
    }
    lines.push_back("data until " + Times::text(restored.log().lastCommit));
    lines.push_back("restored " + counted(static_cast<long long>(restored.items().size()), "table") + " with " +
                    counted(sum, "item") + " to " + target);
    return sayLines(lines);
}

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
    parser()->add_option("--until", until_,
                         "Only what was committed up to this second: a local time such as \"2026-11-22 14:05:00\", or "
                         "2026-11-22T14:05:00Z");
    parser()->add_flag("--without-list", withoutList_,
                       "Accept a copy without a list of its files, although some may be missing");
}

int RestoreCommand::run(const ServerAddress&)
{
    RestoreWish wish;
    wish.unlisted = withoutList_ ? UnlistedCopy::Accepted : UnlistedCopy::Refused;
    if (std::time_t time = 0; parser()->count("--until") > 0) {
        if (const int code = refuse(Times::read(until_, &time)))
            return code;
        wish.until = time;
    }
    const Interruption interruption;
    BackupParts parts(backup_);
    if (const std::string error = BackupSeries::choose(backup_, wish.until, &parts); !error.empty())
        return fail(error);
    Progress progress;
    RestoreSteps restore(parts, target_, wish,
                         {[&](const char* step, std::size_t done, std::size_t all) { progress.show(step, done, all); },
                          [&] { progress.end(); }});
    const std::string error = restore.run();
    if (!error.empty())
        return fail(error);
    return report(restore, target_);
}

} // namespace Ctl
