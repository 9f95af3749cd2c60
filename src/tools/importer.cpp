#include "tools/importer.h"

#include "protocol/envelope.h"
#include "tools/exitcode.h"
#include "tools/interruption.h"
#include "tools/messages.h"
#include "tools/replies.h"

#include <cerrno>
#include <cstring>

namespace Ctl {

namespace {

constexpr int MostRefusedInARow = 100; // with a full disk everything is refused, and the rest is better kept for later

} // namespace

Importer::Importer(const ServerAddress& server, std::string table, ImportInput input, ImportState state,
                   const ImportMark& mark)
    : table_(std::move(table)), input_(std::move(input)), state_(std::move(state)), begin_(mark), mark_(mark),
      reached_(mark), session_(server), reader_(input_.descriptor)
{}

int Importer::run()
{
    const Interruption interruption;
    if (const int code = session_.readKeys(table_, &keys_))
        return code;
    if (const int code = skipToMark())
        return code;
    // A state file that cannot be written now could not be written later either.
    if (const int code = moveMark())
        return code;
    progress_.emplace(input_.bytes < 0 ? -1 : input_.bytes - skippedBytes_);
    progress_->show(0, 0);
    return transfer();
}

/** Reads the lines up to the mark again, as standard input cannot seek. */
int Importer::skipToMark()
{
    QByteArray line;
    while (reader_.lineNumber() < begin_.line) {
        const LineReader::Result result = reader_.next(&line);
        if (result == LineReader::Result::Failed)
            return cannotRead();
        if (result == LineReader::Result::Interrupted)
            return stop(ExitErrorReply, "interrupted");
        if (result == LineReader::Result::End) {
            complain(input_.name + " has only " + counted(reader_.lineNumber(), "line") + ", and " +
                     std::to_string(begin_.line) + " were to be skipped");
            return ExitUsage;
        }
    }
    skippedBytes_ = reader_.bytes();
    return ExitOk;
}

int Importer::transfer()
{
    QByteArray line;
    for (;;) {
        if (batch_.isEmpty())
            reached_.line = reader_.lineNumber();
        const LineReader::Result result = reader_.next(&line);
        int code = ExitOk;
        switch (result) {
        case LineReader::Result::Line:
            code = takeLine(line);
            break;
        case LineReader::Result::TooLong:
            refuse(reader_.lineNumber(), "the line is too long for an item");
            break;
        case LineReader::Result::End:
            code = sendBatch(reader_.lineNumber());
            return code != ExitOk ? code : finish();
        case LineReader::Result::Interrupted:
            code = sendBatch(reader_.lineNumber());
            if (code == ExitOk)
                code = moveMark(); // the batch may be followed by refused lines
            return code != ExitOk ? code : stop(ExitErrorReply, "interrupted");
        case LineReader::Result::Failed:
            return cannotRead();
        }
        if (code != ExitOk)
            return code;
        progress_->show(itemsOfThisRun(), reader_.bytes() - skippedBytes_);
    }
}

int Importer::takeLine(const QByteArray& line)
{
    if (line.trimmed().isEmpty())
        return ExitOk;
    ItemKey key;
    if (const std::string error = checkImportLine(line, keys_, &key); !error.empty()) {
        refuse(reader_.lineNumber(), error);
        return ExitOk;
    }
    // Of two lines with the same keys, the later one must win.
    if (batch_.contains(key)) {
        if (const int code = sendBatch(reader_.lineNumber() - 1))
            return code;
    }
    batch_.add(reader_.lineNumber(), line, key);
    return batch_.isFull() ? sendBatch(reader_.lineNumber()) : ExitOk;
}

/** `lastLine` is the last line that is finished once the batch is stored. */
int Importer::sendBatch(long long lastLine)
{
    if (batch_.isEmpty())
        return ExitOk;
    QVariantMap reply;
    int code = send(0, batch_.size(), &reply);
    if (code == ExitOk) {
        reached_.stored += static_cast<long long>(batch_.size());
        refusedInARow_ = 0;
    } else if (code == ExitErrorReply) {
        code = sendOneByOne();
    }
    if (code != ExitOk)
        return code == ExitNoReply ? stop(code, "no reply came") : code;
    batch_.clear();
    reached_.line = lastLine;
    return moveMark();
}

int Importer::sendOneByOne()
{
    for (std::size_t i = 0; i < batch_.size(); ++i) {
        QVariantMap reply;
        const int code = send(i, 1, &reply);
        if (code == ExitNoReply)
            return code;
        if (code == ExitOk) {
            ++reached_.stored;
            refusedInARow_ = 0;
            continue;
        }
        refuse(batch_.lineOf(i), "the server refused it: " +
                                     (Envelopes::isSuccess(reply) ? "it was returned unprocessed" : serverSays(reply)));
        if (++refusedInARow_ == MostRefusedInARow)
            return stop(ExitErrorReply, "the server refused " + std::to_string(MostRefusedInARow) + " items in a row");
    }
    return ExitOk;
}

/** Returns ExitOk only when nothing was returned unprocessed. */
int Importer::send(std::size_t first, std::size_t count, QVariantMap* reply)
{
    const int code = session_.request(Operations::BatchWriteItem, batch_.requestBody(table_, first, count), reply);
    return code == ExitOk && !reply->value("UnprocessedItems").toMap().isEmpty() ? int{ExitErrorReply} : code;
}

/** Saves the position reached, except while the server refuses item after item: a later run may send those again. */
int Importer::moveMark()
{
    if (refusedInARow_ > 0)
        return ExitOk;
    mark_ = reached_;
    const std::string error = state_.save(mark_);
    return error.empty() ? int{ExitOk} : stop(ExitErrorReply, error);
}

int Importer::finish()
{
    progress_->finish(itemsOfThisRun(), reader_.bytes() - skippedBytes_);
    progress_.reset();
    state_.remove();
    if (reached_.refused == 0)
        return ExitOk;
    complain(counted(reached_.refused, "item") + " of " + input_.name + (reached_.refused == 1 ? " was" : " were") +
             " refused, " + std::to_string(reached_.stored) + " stored in " + table_);
    return ExitErrorReply;
}

void Importer::refuse(long long line, const std::string& reason)
{
    ++reached_.refused;
    complain(input_.name + ':' + std::to_string(line) + ": " + reason);
}

int Importer::cannotRead()
{
    return stop(ExitErrorReply, "cannot read " + input_.name + ": " + std::strerror(errno));
}

/** Ends the import before the end of the input, and reports how to resume it. */
int Importer::stop(int code, const std::string& reason)
{
    const std::string line = std::to_string(mark_.line);
    const std::string next = ", which continues with line " + std::to_string(mark_.line + 1);
    std::string done = "lines 1 to " + line + " of " + input_.name + " are done: ";
    if (mark_.line == 0)
        done = "no line of " + input_.name + " is done: ";
    else if (mark_.line == 1)
        done = "line 1 of " + input_.name + " is done: ";
    complain("import stopped: " + reason,
             {done + counted(mark_.stored, "item") + " stored, " + std::to_string(mark_.refused) + " refused",
              (state_.isKept() ? "try: the same command" : "try: the same command with --skip " + line) + next});
    return code;
}

} // namespace Ctl
