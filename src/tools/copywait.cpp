#include "tools/copywait.h"

#include "tools/backupfacts.h"
#include "tools/backupstate.h"
#include "tools/copytarget.h"
#include "tools/exitcode.h"
#include "tools/interruption.h"
#include "tools/messages.h"
#include "tools/terminalline.h"
#include "tools/units.h"

#include <cstdint>
#include <filesystem>
#include <system_error>
#include <thread>
#include <utility>

namespace fs = std::filesystem;

namespace Ctl {

namespace {

using Clock = std::chrono::steady_clock;

std::string bytesCopied(std::uintmax_t bytes)
{
    return Units::bytes(bytes) + " copied";
}

} // namespace

CopyWait::CopyWait(Session* session, std::string table, std::string directory, CopyTarget* target, FailedCopy failed)
    : session_(session), table_(std::move(table)), directory_(std::move(directory)), target_(target), failed_(failed)
{}

int CopyWait::untilBegun()
{
    constexpr std::chrono::seconds ToBegin{5};
    const Clock::time_point end = Clock::now() + ToBegin;
    for (;;) {
        if (const auto code = check())
            return *code;
        if (hasBegun_ || Clock::now() > end)
            return ExitOk;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

int CopyWait::untilComplete(std::chrono::seconds stall)
{
    TerminalLine line;
    std::uintmax_t bytes = 0;
    Clock::time_point grown = Clock::now();
    for (;;) {
        if (const auto code = check()) {
            if (*code == ExitOk && line.isEnabled())
                line.show(bytesCopied(bytesIn(directory_)) + ", complete");
            return *code;
        }
        if (Interruption::requested()) {
            complain("interrupted; the server continues copying to " + directory_);
            return ExitErrorReply;
        }
        if (const auto size = bytesIn(directory_); size != bytes) {
            bytes = size;
            grown = Clock::now();
        }
        if (Clock::now() - grown > stall) {
            complain("the copy to " + directory_ + " has not grown for " + counted(stall.count(), "second") +
                         "; the server continues with it",
                     {"try: the server's log, and the disk of that directory; quorvactl backup stop ends the copy"});
            return ExitErrorReply;
        }
        line.show(bytesCopied(bytes));
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
}

/** The exit code of a copy that has ended or whose state cannot be read; empty while it is running. */
std::optional<int> CopyWait::check()
{
    BackupState state;
    if (const int code = askState(session_, table_, "cannot ask for the state of the backup of " + table_, &state)) {
        complainMarkerStays(*target_);
        return code;
    }
    hasBegun_ = hasBegun_ || target_->hasBegun();
    if (state.isCopying(directory_))
        return std::nullopt;
    return conclude();
}

/** Determines the result once the server has finished with the directory. Returns an exit code. */
int CopyWait::conclude()
{
    std::error_code error;
    if (target_->isComplete(&error))
        return ExitOk;
    const bool isMarked = fs::exists(target_->marker(), error) && !error;
    if (error) {
        complain("cannot tell whether the copy in " + directory_ + " is complete: " + error.message());
    } else if (!hasBegun_ && isMarked) {
        target_->undo();
        complain("the server refused to copy to " + directory_,
                 {"try: the server's log; the line \"Dbenv backup failed rc\" has the error code"});
    } else if (isMarked) {
        complainFailed();
    } else {
        complain("the copy to " + directory_ + " ended before it was complete",
                 {"try: the server's log; the directory or files in it were renamed or removed during the copy"});
    }
    return ExitErrorReply;
}

/** A full disk is recognised by its free space: the failed copy is still there. */
void CopyWait::complainFailed() const
{
    constexpr std::uintmax_t Full = 1024 * 1024; // less than the server writes in one call
    std::error_code unknown;
    const fs::space_info disk = fs::space(directory_, unknown);
    const std::string then = failed_ == FailedCopy::Stays
                                 ? "remove " + target_->marker().string() + " and start the backup again"
                                 : "make the backup again";
    if (!unknown && disk.available < Full)
        complain("the copy to " + directory_ + " failed: its disk is full",
                 {"try: free some space there; then " + then});
    else
        complain("the copy to " + directory_ + " failed; the server's log has the reason",
                 {"try: its line \"Dbenv backup failed rc\", where 28 is a full disk; then " + then});
}

void complainMarkerStays(const CopyTarget& target)
{
    complain(target.marker().string() + " is left in place: the server may have begun the copy",
             {"try: once no server is writing to the directory, remove this file and start the backup again"});
}

} // namespace Ctl
