#include "tools/backupshowcommand.h"

#include "format/backupnames.h"
#include "format/logfiles.h"
#include "tools/backupfacts.h"
#include "tools/backupseries.h"
#include "tools/interruption.h"
#include "tools/messages.h"
#include "tools/resolvedpath.h"
#include "tools/times.h"
#include "tools/units.h"

#include <CLI/CLI.hpp>

#include <cstddef>
#include <filesystem>
#include <set>
#include <vector>

namespace fs = std::filesystem;

namespace Ctl {

namespace {

using Lines = std::vector<std::string>;

std::string line(std::string name, const std::string& value)
{
    name.resize(11, ' ');
    return name + value;
}

std::string describeLogs(const BackupFacts& facts)
{
    if (facts.firstLog == 0)
        return "none";
    const std::string gap = facts.gap ? "a gap at " + std::to_string(*facts.gap) : "no gap";
    return std::to_string(facts.firstLog) + " to " + std::to_string(facts.lastLog) + ", " + gap;
}

std::string joined(const std::set<std::string>& names)
{
    std::string text;
    for (const std::string& name : names)
        text += (text.empty() ? "" : ", ") + name;
    return text.empty() ? "none" : text;
}

/** The lines that a copy and a series have in common; `name` says which it is. */
Lines linesOf(const std::string& name, const fs::path& directory, const BackupFacts& facts)
{
    return {line(name, directory.string()), line("of", facts.list ? facts.list->home : "unknown"),
            line("since", Times::text(facts.since)), line("until", Times::text(facts.until)),
            line("log files", describeLogs(facts))};
}

/** Prints the lines, and then what keeps the backup from being restored. Returns an exit code. */
int conclude(const Lines& lines, const std::string& problem)
{
    if (const int code = sayLines(lines))
        return code;
    return problem.empty() ? int{ExitOk} : fail(problem);
}

int showCopy(const fs::path& directory, const BackupFacts& facts)
{
    Lines lines = linesOf("backup", directory, facts);
    lines.insert(lines.begin() + 2, line("complete", facts.problem.empty() ? "yes" : "no"));
    lines.push_back(line("size", Units::bytes(facts.bytes)));
    lines.push_back(line("tables", joined(facts.tables)));
    return conclude(lines, facts.problem);
}

/** Whether it looks like an environment to which nothing has been shipped. */
bool isWithoutList(const fs::path& directory)
{
    std::string unfinished;
    return !LogFiles::numbersIn(directory).empty() && !isThere(directory / BackupNames::ListFile) &&
           !isThere(directory / BackupNames::LogDirectory) && !isUnfinished(directory, &unfinished);
}

std::string stateOf(const BackupSeries::Copy& copy)
{
    return !copy.isComplete ? "unfinished" : copy.isVerified ? "verified" : "complete";
}

/** Returns an exit code. */
int showSeries(const fs::path& directory, const BackupSeries::Copies& copies)
{
    BackupFacts all;
    std::uintmax_t bytes = 0;
    BackupParts parts(directory);
    std::set<std::string> tables; // of any of the copies
    bool isFound = false;
    for (const BackupSeries::Copy& copy : copies) {
        BackupList list;
        if (copy.isComplete && readList(copy.path, &list).empty())
            tables.merge(tablesOf(list));
        bytes += bytesIn(copy.path);
        if (isFound && copy.isComplete)
            parts.later.push_back(copy.path);
        if (!isFound && copy.isComplete)
            parts.copy = copy.path;
        isFound = isFound || copy.isComplete;
    }
    if (const std::string error = isFound ? readFacts(parts, &all) : std::string(); !error.empty())
        return fail(error);
    Lines lines = linesOf("backups", directory, all);
    lines.push_back(line("size", Units::bytes(bytes)));
    lines.push_back(line("tables", joined(tables)));
    for (const BackupSeries::Copy& copy : copies) {
        std::optional<std::time_t> since;
        if (copy.isComplete)
            (void)readCopyEnd(copy.path, &since); // ignored: it is unknown then
        lines.push_back(line(&copy == &copies.front() ? "copies" : "",
                             copy.path.filename().string() + "  " + stateOf(copy) + ", since " + Times::text(since) +
                                 ", " + Units::bytes(bytesIn(copy.path))));
    }
    return conclude(lines, isFound ? all.problem : directory.string() + " has no complete copy");
}

} // namespace

BackupShowCommand::BackupShowCommand(CLI::App* backup)
    : Command(backup, "show", "Show what a backup contains; needs no server", "quorvactl backup show /srv/backup/shop")
{
    parser()->fallthrough(false); // no server, no address
    parser()->add_option("DIR", directory_, "The backup directory, or a directory of dated copies")->required();
}

int BackupShowCommand::run(const ServerAddress&)
{
    const Interruption interruption;
    BackupSeries::Copies copies;
    if (const std::string problem = BackupSeries::refusal(directory_); !problem.empty())
        return fail(problem);
    if (isOpenEnvironment(directory_))
        return fail(directory_ + " is open in a server: it is a directory of tables, not a backup");
    if (isWithoutList(directory_))
        return fail(directory_ + " has no " + BackupNames::ListFile +
                    ": it is a directory of tables, or a copy that was made without a list of its files");
    if (const std::string error = BackupSeries::isOne(directory_) ? BackupSeries::read(directory_, &copies) : "";
        !error.empty())
        return fail(error);
    if (!copies.empty())
        return showSeries(directory_, copies);
    BackupFacts facts;
    if (const std::string error = readFacts(BackupParts(directory_), &facts); !error.empty() || facts.firstLog == 0)
        return fail(error.empty() ? facts.problem : error);
    return showCopy(directory_, facts);
}

} // namespace Ctl
