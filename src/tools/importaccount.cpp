#include "tools/importaccount.h"

#include "tools/exitcode.h"
#include "tools/messages.h"

#include <utility>

namespace Ctl {

namespace {

constexpr int MostRefusedInARow = 100; // with a full disk everything is refused, and continuing is pointless

} // namespace

ImportAccount::ImportAccount(std::string table, std::string input, ImportState state, const ImportMark& mark)
    : table_(std::move(table)), input_(std::move(input)), state_(std::move(state)), begin_(mark), lines_(mark),
      mark_(mark)
{}

void ImportAccount::addRefused(long long line, const std::string& reason)
{
    complainLine(line, reason);
    lines_.addRefused();
}

void ImportAccount::setStored(long long line, long long request)
{
    lines_.setStored(line);
    // An item that another connection sent before the refusal proves nothing: the server may still have accepted items.
    if (refusedInARow_ > 0 && request > lastOfRefusal_) {
        refusedInARow_ = 0;
        lines_.confirmRefused();
    }
}

int ImportAccount::setRefused(long long line, const std::string& reason, long long latest)
{
    complainLine(line, "the server refused it: " + reason);
    lines_.setRefused(line);
    lastOfRefusal_ = latest;
    if (++refusedInARow_ < MostRefusedInARow)
        return ExitOk;
    return stop(ExitErrorReply, "the server refused " + std::to_string(MostRefusedInARow) + " items in a row");
}

int ImportAccount::moveMark()
{
    return lines_.mark().line == mark_.line ? int{ExitOk} : saveMark();
}

int ImportAccount::saveMark()
{
    mark_ = lines_.mark();
    const std::string error = state_.save(mark_);
    return error.empty() ? int{ExitOk} : stop(ExitErrorReply, error);
}

int ImportAccount::stop(int code, std::string reason)
{
    stopReason_ = std::move(reason);
    return code;
}

void ImportAccount::reportStop()
{
    mark_ = lines_.mark();
    (void)state_.save(mark_); // ignored: the earlier mark is also one to resume from
    const std::string line = std::to_string(mark_.line);
    const std::string next = ", which continues with line " + std::to_string(mark_.line + 1);
    std::string done = "lines 1 to " + line + " of " + input_ + " are done: ";
    if (mark_.line == 0)
        done = "no line of " + input_ + " is done: ";
    else if (mark_.line == 1)
        done = "line 1 of " + input_ + " is done: ";
    complain("import stopped: " + stopReason_,
             {done + counted(mark_.stored, "item") + " stored, " + std::to_string(mark_.refused) + " refused",
              (state_.isKept() ? "try: the same command" : "try: the same command with --skip " + line) + next});
}

int ImportAccount::reportEnd() const
{
    state_.remove();
    const ImportMark all = lines_.all();
    if (all.refused == 0)
        return ExitOk;
    complain(counted(all.refused, "item") + " of " + input_ + (all.refused == 1 ? " was" : " were") + " refused, " +
             std::to_string(all.stored) + " stored in " + table_);
    return ExitErrorReply;
}

void ImportAccount::complainLine(long long line, const std::string& reason) const
{
    complain(input_ + ':' + std::to_string(line) + ": " + reason);
}

} // namespace Ctl
