#ifndef QUORVA_STORAGE_UNFLUSHEDCOMMITS_H
#define QUORVA_STORAGE_UNFLUSHEDCOMMITS_H

#include "storage/databasestate.h"

#include <QVarLengthArray>

#include <utility>

/**
 * What must be durable before the reply of a request may be sent: the request's own commits, and those of other
 * requests whose result it has seen. Any flush of the log that begins later covers both.
 */
class UnflushedCommits {
public:
    UnflushedCommits() = default;
    UnflushedCommits(UnflushedCommits&& other) noexcept { *this = std::move(other); }
    UnflushedCommits& operator=(UnflushedCommits&& other) noexcept
    {
        written_ = std::exchange(other.written_, {});
        seen_ = std::exchange(other.seen_, false);
        return *this;
    }

    /** After a read, successful or not, from a file with this state. */
    void noteRead(const DatabaseState& file) { seen_ = seen_ || file.undurable.load() != 0; }

    /** Before the commit of a transaction that has written to the file: raises its count. */
    void addWritten(DatabaseState* file)
    {
        written_.append(file);
        ++file->undurable;
    }

    /** True if the reply has to wait. */
    bool any() const { return seen_ || hasWritten(); }

    /** True if the request has committed something itself: it fails if the log cannot be flushed. */
    bool hasWritten() const { return !written_.isEmpty(); }

    /** After the flush: lowers the counts, and is empty. */
    void settle()
    {
        for (DatabaseState* file : written_)
            --file->undurable;
        written_.clear();
        seen_ = false;
    }

private:
    QVarLengthArray<DatabaseState*, 2> written_; // a file may occur repeatedly
    bool seen_ = false;
};

#endif
