#ifndef QUORVA_TOOLS_IMPORTACCOUNT_H
#define QUORVA_TOOLS_IMPORTACCOUNT_H

#include "tools/importlines.h"
#include "tools/importstate.h"

#include <string>

namespace Ctl {

/**
 * Keeps account of an import: the outcome of each line, the mark that the next run starts from, and the messages about
 * both. It also stops an import when the server refuses too many items in a row.
 */
class ImportAccount {
public:
    /** `table` and `input` are names for messages; `mark` is how far an earlier import of the same input got. */
    ImportAccount(std::string table, std::string input, ImportState state, const ImportMark& mark);

    /** The next line was read: it contains an item, or nothing, or something that cannot be sent, for this reason. */
    void addItem() { lines_.addItem(); }
    void addEmpty() { lines_.addEmpty(); }
    void addRefused(long long line, const std::string& reason);

    /** The request with this number stored the item of a line. Requests are numbered as they are sent. */
    void setStored(long long line, long long request);
    /**
     * The server refused the item of a line for this reason; `latest` is the last request that had been sent by then.
     * Returns ExitOk, or the exit code when it has refused too many in a row.
     */
    [[nodiscard]] int setRefused(long long line, const std::string& reason, long long latest);

    /** Saves the mark if it has moved. Returns an exit code. */
    [[nodiscard]] int moveMark();
    [[nodiscard]] int saveMark();

    /** Records why the import has to stop, for reportStop(). Returns `code`. */
    [[nodiscard]] int stop(int code, std::string reason);

    /** After stop(), once no request is outstanding: reports how far it got and how to resume it. */
    void reportStop();
    /** After the end of the input: removes the state, and reports how many items were refused. Returns an exit code. */
    [[nodiscard]] int reportEnd() const;

    bool isStopped() const { return !stopReason_.empty(); }
    long long itemsOfThisRun() const { return lines_.all().stored - begin_.stored; }
    /** The number of lines that an earlier import has completed. */
    long long linesBefore() const { return begin_.line; }

private:
    void complainLine(long long line, const std::string& reason) const;

    const std::string table_;
    const std::string input_;
    const ImportState state_;
    const ImportMark begin_;
    ImportLines lines_;
    ImportMark mark_; // where the next run would start
    std::string stopReason_;

    int refusedInARow_ = 0;       // by the server
    long long lastOfRefusal_ = 0; // the last request that had been sent when it refused the last one of them
};

} // namespace Ctl

#endif
