#include "tools/importer.h"

#include "tools/csvsource.h"
#include "tools/dynamodblines.h"
#include "tools/exitcode.h"
#include "tools/interruption.h"
#include "tools/messages.h"

#include <utility>
#include <vector>

#include <poll.h>

namespace Ctl {

namespace {

constexpr int MostRefusedAtTheBeginning = 20;

} // namespace

Importer::Importer(const ServerAddress& server, const std::string& table, ImportInput input, ImportState state,
                   const ImportMark& mark)
    : input_(std::move(input)), account_(table, input_.name, std::move(state), mark), lanes_(server, table, &account_),
      source_(makeSource())
{}

std::unique_ptr<ImportSource> Importer::makeSource()
{
    const auto wait = [this] { return awaitInput(); };
    switch (input_.format) {
    case ItemFormat::Csv:
        return std::make_unique<CsvSource>(input_.descriptor, wait, input_.types);
    case ItemFormat::DynamodbJson:
        return std::make_unique<DynamodbLines>(input_.descriptor, wait);
    case ItemFormat::Json:
        break;
    }
    return std::make_unique<JsonLines>(input_.descriptor, wait);
}

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
    if (const int code = begin())
        return code;
    if (const int code = skipToMark())
        return code;
    // A state file that cannot be written now could not be written later either.
    if (const int code = account_.saveMark())
        return code;
    progress_.emplace(input_.bytes < 0 ? -1 : input_.bytes - skippedBytes_, input_.progress);
    progress_->show(0, 0);
    return transfer();
}

/** Reads what precedes the items. */
int Importer::begin()
{
    switch (source_->begin(keys_)) {
    case ImportSource::Result::Interrupted:
        return account_.stop(ExitErrorReply, "interrupted");
    case ImportSource::Result::Failed:
        return cannotRead();
    case ImportSource::Result::Refused:
        complain(input_.name + ": " + source_->error());
        return ExitUsage;
    default:
        break;
    }
    for (long long line = account_.linesBefore(); line < source_->lastLine(); ++line)
        account_.addEmpty();
    return ExitOk;
}

/** Reads the lines up to the mark again, as standard input cannot seek. */
int Importer::skipToMark()
{
    while (source_->lastLine() < account_.linesBefore()) {
        const ImportSource::Result result = source_->skipLine();
        if (result == ImportSource::Result::Failed)
            return cannotRead();
        if (result == ImportSource::Result::Interrupted)
            return account_.stop(ExitErrorReply, "interrupted");
        if (result == ImportSource::Result::End) {
            complain(input_.name + " has only " + counted(source_->lastLine(), "line") + ", and " +
                     std::to_string(account_.linesBefore()) + " were to be skipped");
            return ExitUsage;
        }
    }
    skippedBytes_ = source_->bytes();
    return ExitOk;
}

int Importer::transfer()
{
    QByteArray item;
    for (;;) {
        int code = ExitOk;
        switch (source_->next(&item)) {
        case ImportSource::Result::Item:
            code = take(item);
            break;
        case ImportSource::Result::Empty:
            account_.addEmpty();
            break;
        case ImportSource::Result::Refused:
            code = refuse(source_->error());
            break;
        case ImportSource::Result::End:
            code = lanes_.sendAll();
            return code != ExitOk ? code : finish();
        case ImportSource::Result::Interrupted:
            code = failure_ != ExitOk ? failure_ : lanes_.sendAll();
            return code != ExitOk ? code : account_.stop(ExitErrorReply, "interrupted");
        case ImportSource::Result::Failed:
            return cannotRead();
        }
        if (code != ExitOk)
            return code;
        // The item is counted on its first line; until that is done, its other lines do not move the mark.
        for (long long line = source_->firstLine(); line < source_->lastLine(); ++line)
            account_.addEmpty();
        progress_->show(account_.itemsOfThisRun(), source_->bytes() - skippedBytes_);
    }
}

/** Takes the replies that arrive before further input. While there is no input, everything read so far is sent. */
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

int Importer::take(const QByteArray& item)
{
    ItemKey key;
    if (const std::string error = checkImportLine(item, keys_, &key); !error.empty()) {
        return refuse(error);
    }
    hasItem_ = true;
    return lanes_.add(source_->firstLine(), item, key);
}

/** Stops early when the first items are all refused: every item of an input in another format would be. */
int Importer::refuse(const std::string& reason)
{
    account_.addRefused(source_->firstLine(), reason);
    if (hasItem_ || ++refusedBefore_ < MostRefusedAtTheBeginning || account_.linesBefore() > 0)
        return ExitOk;
    complain("import stopped: none of the first " + std::to_string(refusedBefore_) + " items of " + input_.name +
                 " can be stored",
             {input_.format == ItemFormat::Csv ? "try: the types that the columns have, in the header or with --types"
                                               : "try: --format csv, if that is its format; or --skip, to skip lines"});
    return ExitErrorReply;
}

int Importer::finish()
{
    progress_->finish(account_.itemsOfThisRun(), source_->bytes() - skippedBytes_);
    progress_.reset();
    return account_.reportEnd();
}

int Importer::cannotRead()
{
    return account_.stop(ExitErrorReply, "cannot read " + input_.name + ": " + source_->error());
}

} // namespace Ctl
