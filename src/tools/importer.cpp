#include "tools/importer.h"

#include "tools/exitcode.h"
#include "tools/interruption.h"
#include "tools/messages.h"

#include <cerrno>
#include <cstring>
#include <utility>
#include <vector>

#include <poll.h>

namespace Ctl {

Importer::Importer(const ServerAddress& server, const std::string& table, ImportInput input, ImportState state,
                   const ImportMark& mark)
    : input_(std::move(input)), account_(table, input_.name, std::move(state), mark), lanes_(server, table, &account_),
      reader_(input_.descriptor, [this] { return awaitInput(); })
{}

int Importer::run()
{
    const Interruption interruption;
    if (const int code = lanes_.readKeys(&keys_))
        return code;
    const int code = importAll();
    if (account_.isStopped()) {
        lanes_.settle(code == ExitNoReply);
        account_.reportStop();
    }
    return code;
}

int Importer::importAll()
{
    if (const int code = skipToMark())
        return code;
    // A state file that cannot be written now could not be written later either.
    if (const int code = account_.saveMark())
        return code;
    progress_.emplace(input_.bytes < 0 ? -1 : input_.bytes - skippedBytes_);
    progress_->show(0, 0);
    return transfer();
}

/** Reads the lines up to the mark again, as standard input cannot seek. */
int Importer::skipToMark()
{
    QByteArray line;
    while (reader_.lineNumber() < account_.linesBefore()) {
        const LineReader::Result result = reader_.next(&line);
        if (result == LineReader::Result::Failed)
            return cannotRead();
        if (result == LineReader::Result::Interrupted)
            return account_.stop(ExitErrorReply, "interrupted");
        if (result == LineReader::Result::End) {
            complain(input_.name + " has only " + counted(reader_.lineNumber(), "line") + ", and " +
                     std::to_string(account_.linesBefore()) + " were to be skipped");
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
        int code = ExitOk;
        switch (reader_.next(&line)) {
        case LineReader::Result::Line:
            code = takeLine(line);
            break;
        case LineReader::Result::TooLong:
            account_.addRefused(reader_.lineNumber(), "the line is too long for an item");
            break;
        case LineReader::Result::End:
            code = lanes_.sendAll();
            return code != ExitOk ? code : finish();
        case LineReader::Result::Interrupted:
            code = failure_ != ExitOk ? failure_ : lanes_.sendAll();
            return code != ExitOk ? code : account_.stop(ExitErrorReply, "interrupted");
        case LineReader::Result::Failed:
            return cannotRead();
        }
        if (code != ExitOk)
            return code;
        progress_->show(account_.itemsOfThisRun(), reader_.bytes() - skippedBytes_);
    }
}

/** Takes the replies that arrive before there is input. While the input pauses, everything that was read is sent. */
bool Importer::awaitInput()
{
    for (bool pauses = false;;) {
        if (pauses)
            failure_ = lanes_.sendToIdle();
        std::vector<pollfd> watched;
        lanes_.watchReplies(&watched);
        watched.push_back({input_.descriptor, POLLIN, 0});
        if (failure_ != ExitOk || !Interruption::wait(&watched, pauses ? -1 : 0))
            return false;
        failure_ = lanes_.takeReplies(watched);
        if (failure_ != ExitOk)
            return false;
        if (watched.back().revents != 0)
            return true;
        pauses = true;
    }
}

int Importer::takeLine(const QByteArray& line)
{
    if (line.trimmed().isEmpty()) {
        account_.addEmpty();
        return ExitOk;
    }
    ItemKey key;
    if (const std::string error = checkImportLine(line, keys_, &key); !error.empty()) {
        account_.addRefused(reader_.lineNumber(), error);
        return ExitOk;
    }
    return lanes_.add(reader_.lineNumber(), line, key);
}

int Importer::finish()
{
    progress_->finish(account_.itemsOfThisRun(), reader_.bytes() - skippedBytes_);
    progress_.reset();
    return account_.reportEnd();
}

int Importer::cannotRead()
{
    return account_.stop(ExitErrorReply, "cannot read " + input_.name + ": " + std::strerror(errno));
}

} // namespace Ctl
