#include "tools/importer.h"

#include "protocol/envelope.h"
#include "tools/interruption.h"
#include "tools/itemtext.h"
#include "tools/notation.h"
#include "json/jsonadapter.h"

#include <cerrno>
#include <cstring>

namespace Ctl {

namespace {

constexpr std::size_t ItemsInABatch = 25;
constexpr qsizetype BytesOfABatch = 4 * 1024 * 1024; // a batch that reaches them is sent
constexpr int MostRefusedInARow = 100;               // a full disk refuses everything, and the rest is better kept

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
    // What cannot be written now could not be written later.
    if (const int code = moveMark())
        return code;
    progress_.emplace(input_.bytes < 0 ? -1 : input_.bytes - skippedBytes_);
    progress_->show(0, 0);
    return transfer();
}

/** The lines in front of the mark are read again, as standard input knows no other way. */
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
        if (batch_.empty())
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
                code = moveMark(); // lines that were refused may stand behind the batch
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
    Key key;
    if (const std::string error = check(line, &key); !error.empty()) {
        refuse(reader_.lineNumber(), error);
        return ExitOk;
    }
    // A batch may write an item only once, and the later line has to win.
    if (batchKeys_.contains(key)) {
        if (const int code = sendBatch(reader_.lineNumber() - 1))
            return code;
    }
    batch_.push_back({reader_.lineNumber(), line});
    batchKeys_.insert(key);
    batchBytes_ += line.size();
    return batch_.size() == ItemsInABatch || batchBytes_ >= BytesOfABatch ? sendBatch(reader_.lineNumber()) : ExitOk;
}

/** An empty string, with the item's keys, or why it cannot be stored. */
std::string Importer::check(const QByteArray& line, Key* key) const
{
    QVariantMap item;
    if (auto error = parseObject(line, "the line", &item); !error.empty())
        return error;
    if (auto error = checkItem(item, keys_, line.size()); !error.empty())
        return error;
    if (auto error = checkBinary(item); !error.empty())
        return error;
    // In a request it lies deeper than on its line, and the server would not read it.
    constexpr int LevelsAround = 5;
    if (line.count('{') + line.count('[') > Json::MaxDepth - LevelsAround) {
        QVariant nested;
        const QByteArray wrapped = QByteArray(LevelsAround, '[') + line + QByteArray(LevelsAround, ']');
        if (!Json::parse(wrapped, &nested))
            return "the item is nested too deep";
    }
    *key = {keyText(item, keys_.hash), keyText(item, keys_.range)};
    return {};
}

/** `lastLine` is the last one that is done when the batch is. */
int Importer::sendBatch(long long lastLine)
{
    if (batch_.empty())
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
    batchKeys_.clear();
    batchBytes_ = 0;
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
        refuse(batch_[i].line, "the server refused it: " +
                                   (Envelopes::isSuccess(reply) ? "it came back unprocessed" : serverSays(reply)));
        if (++refusedInARow_ == MostRefusedInARow)
            return stop(ExitErrorReply, "the server refused " + std::to_string(MostRefusedInARow) + " items in a row");
    }
    return ExitOk;
}

/** ExitOk only when nothing came back unprocessed. */
int Importer::send(std::size_t first, std::size_t count, QVariantMap* reply)
{
    const int code = session_.request(Operations::BatchWriteItem, requestBody(first, count), reply);
    return code == ExitOk && !reply->value("UnprocessedItems").toMap().isEmpty() ? int{ExitErrorReply} : code;
}

QByteArray Importer::requestBody(std::size_t first, std::size_t count) const
{
    QByteArray body = "{\"RequestItems\":{" + Json::serialize(QString::fromStdString(table_)) + ":[";
    for (std::size_t i = first; i < first + count; ++i) {
        if (i > first)
            body += ',';
        body += R"({"PutRequest":{"Item":)" + batch_[i].text + "}}";
    }
    return body + "]}}";
}

/** Keeps what was reached, unless the server refuses one item after the other: those may be sent again. */
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

/** Ends the import before the input's end, and tells how it can go on. */
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
