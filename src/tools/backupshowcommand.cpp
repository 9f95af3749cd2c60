#include "tools/backupshowcommand.h"

#include "tools/backupfacts.h"
#include "tools/backupseries.h"
#include "tools/interruption.h"
#include "tools/messages.h"
#include "tools/times.h"
#include "tools/units.h"

#include <CLI/CLI.hpp>

#include <cstddef>
#include <cstdio>
#include <filesystem>

namespace fs = std::filesystem;

namespace Ctl {

namespace {

void printLine(const char* name, const std::string& value)
{
    std::printf("%-11s%s\n", name, value.c_str());
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

void printTimes(const BackupFacts& facts)
{
    printLine("since", Times::text(facts.since));
    printLine("until", Times::text(facts.until));
    printLine("log files", describeLogs(facts));
}

void printCopy(const fs::path& directory, const BackupFacts& facts)
{
    printLine("backup", directory.string());
    printLine("of", facts.list ? facts.list->home : "unknown");
    printLine("complete", facts.problem.empty() ? "yes" : "no");
    printTimes(facts);
    printLine("size", Units::bytes(facts.bytes));
    printLine("tables", joined(facts.tables));
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
    bool isFound = false;
    for (const BackupSeries::Copy& copy : copies) {
        bytes += bytesIn(copy.path);
        if (isFound && copy.isComplete)
            parts.later.push_back(copy.path);
        if (!isFound && copy.isComplete)
            parts.copy = copy.path;
        isFound = isFound || copy.isComplete;
    }
    if (const std::string error = isFound ? readFacts(parts, &all) : std::string(); !error.empty()) {
        complain(error);
        return ExitErrorReply;
    }
    printLine("backups", directory.string());
    printLine("of", all.list ? all.list->home : "unknown");
    printTimes(all);
    printLine("size", Units::bytes(bytes));
    for (const BackupSeries::Copy& copy : copies) {
        std::optional<std::time_t> since;
        if (copy.isComplete)
            (void)readCopyEnd(copy.path, &since); // ignored: it is unknown then
        printLine(&copy == &copies.front() ? "copies" : "", copy.path.filename().string() + "  " + stateOf(copy) +
                                                                ", since " + Times::text(since) + ", " +
                                                                Units::bytes(bytesIn(copy.path)));
    }
    const std::string problem = isFound ? all.problem : directory.string() + " has no complete copy";
    if (problem.empty())
        return ExitOk;
    complain(problem);
    return ExitErrorReply;
}

} // namespace

BackupShowCommand::BackupShowCommand(CLI::App* backup)
    : Command(backup, "show", "Tell what a backup holds; needs no server", "quorvactl backup show /srv/backup/shop")
{
    parser()->fallthrough(false); // no server, no address
    parser()->add_option("DIR", directory_, "The backup directory, or a directory of dated copies")->required();
}

int BackupShowCommand::run(const ServerAddress&)
{
    const Interruption interruption;
    BackupSeries::Copies copies;
    BackupParts parts(directory_);
    if (std::string error = BackupSeries::isOne(directory_) ? BackupSeries::read(directory_, &copies) : "";
        !error.empty()) {
        complain(error);
        return ExitErrorReply;
    }
    if (!copies.empty())
        return showSeries(directory_, copies);
    BackupFacts facts;
    if (const std::string error = readFacts(parts, &facts); !error.empty() || facts.firstLog == 0) {
        complain(error.empty() ? facts.problem : error);
        return ExitErrorReply;
    }
    printCopy(directory_, facts);
    if (facts.problem.empty())
        return ExitOk;
    complain(facts.problem);
    return ExitErrorReply;
}

} // namespace Ctl
