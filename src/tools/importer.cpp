#include "tools/importer.h"

#include "protocol/envelope.h"
#include "tools/csvsource.h"
#include "tools/exitcode.h"
#include "tools/interruption.h"
#include "tools/messages.h"
#include "tools/partition.h"
#include "tools/replies.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include <sys/socket.h>

namespace Ctl {

namespace {

constexpr std::size_t Lanes = 4;       // more gain little: with these, both sides are busy
constexpr int MostRefusedInARow = 100; // with a full disk everything is refused, and the rest is better kept for later

} // namespace

Importer::Importer(const ServerAddress& server, std::string table, ImportInput input, ImportState state,
                   const ImportMark& mark)
    : table_(std::move(table)), input_(std::move(input)), state_(std::move(state)), begin_(mark), lines_(mark),
      mark_(mark), waitsForever_(server.timeout == 0), source_(makeSource())
{
    lanes_.reserve(Lanes);
    while (lanes_.size() < Lanes)
        lanes_.emplace_back(server);
}

std::unique_ptr<ImportSource> Importer::makeSource()
{
    const auto wait = [this] { return awaitInput(); };
    if (input_.isCsv)
        return std::make_unique<CsvSource>(input_.descriptor, wait, input_.types);
    return std::make_unique<JsonLines>(input_.descriptor, wait);
}

int Importer::run()
{
    const Interruption interruption;
    if (const int code = lanes_.front().session.readKeys(table_, &keys_))
        return code;
    if (const int code = begin())
        return code;
    if (const int code = skipToMark())
        return code;
    // A state file that cannot be written now could not be written later either.
    if (const int code = saveMark())
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
        return stop(ExitErrorReply, "interrupted");
    case ImportSource::Result::Failed:
        return cannotRead();
    case ImportSource::Result::Refused:
        complain(input_.name + ": " + source_->error());
        return ExitUsage;
    default:
        break;
    }
    for (long long line = begin_.line; line < source_->lastLine(); ++line)
        lines_.addEmpty();
    return ExitOk;
}

/** Reads the lines up to the mark again, as standard input cannot seek. */
int Importer::skipToMark()
{
    while (source_->lastLine() < begin_.line) {
        const ImportSource::Result result = source_->skipLine();
        if (result == ImportSource::Result::Failed)
            return cannotRead();
        if (result == ImportSource::Result::Interrupted)
            return stop(ExitErrorReply, "interrupted");
        if (result == ImportSource::Result::End) {
            complain(input_.name + " has only " + counted(source_->lastLine(), "line") + ", and " +
                     std::to_string(begin_.line) + " were to be skipped");
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
            lines_.addEmpty();
            break;
        case ImportSource::Result::Refused:
            refuseLine(source_->error());
            break;
        case ImportSource::Result::End:
            code = sendAll();
            return code != ExitOk ? code : finish();
        case ImportSource::Result::Interrupted:
            code = failure_ != ExitOk ? failure_ : sendAll();
            return code != ExitOk ? code : stop(ExitErrorReply, "interrupted");
        case ImportSource::Result::Failed:
            return cannotRead();
        }
        if (code != ExitOk)
            return code;
        // The item counts as on its first line; while that is not done, its other lines do not move the mark.
        for (long long line = source_->firstLine(); line < source_->lastLine(); ++line)
            lines_.addEmpty();
        progress_->show(itemsOfThisRun(), source_->bytes() - skippedBytes_);
    }
}

/** Takes the replies that arrive before there is input. While the input pauses, everything that was read is sent. */
bool Importer::awaitInput()
{
    for (bool pauses = false;;) {
        if (pauses)
            failure_ = sendToIdle();
        std::vector<pollfd> watched;
        watchReplies(&watched);
        watched.push_back({input_.descriptor, POLLIN, 0});
        if (failure_ != ExitOk || !Interruption::wait(&watched, pauses ? -1 : 0))
            return false;
        failure_ = takeReplies(watched);
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
        refuseLine(error);
        return ExitOk;
    }
    Lane& lane = laneOf(key);
    if (lane.next.contains(key) || !lane.next.hasRoomFor(item.size())) {
        int code = waitFor(lane);
        if (code == ExitOk)
            code = sendToIdle();
        if (code != ExitOk)
            return code;
    }
    lines_.addItem();
    lane.next.add(source_->firstLine(), item, key);
    // The others as well: few items may go to the lane of the first line that is not done.
    return lane.next.isFull() && !lane.isBusy ? sendToIdle() : ExitOk;
}

void Importer::refuseLine(const std::string& reason)
{
    complainLine(source_->firstLine(), reason);
    lines_.addRefused();
}

Importer::Lane& Importer::laneOf(const ItemKey& key)
{
    return lanes_[static_cast<std::size_t>(partitionOf(key.first)) % lanes_.size()];
}

/** The lane is idle. */
int Importer::send(Lane* lane)
{
    std::swap(lane->sent, lane->next);
    lane->next.clear();
    lane->number = ++requests_;
    const QByteArray body = lane->sent.requestBody(table_, 0, lane->sent.size());
    if (lane->session.send(Operations::BatchWriteItem, body) != ExitOk)
        return stop(ExitNoReply, "no reply came");
    lane->isBusy = true;
    return ExitOk;
}

int Importer::sendToIdle()
{
    int code = ExitOk;
    for (Lane& lane : lanes_) {
        if (code == ExitOk && !lane.isBusy && !lane.next.isEmpty())
            code = send(&lane);
    }
    return code;
}

/** Sends everything that was read and takes all replies. */
int Importer::sendAll()
{
    for (;;) {
        if (const int code = sendToIdle())
            return code;
        const auto busy = std::find_if(lanes_.cbegin(), lanes_.cend(), [](const Lane& lane) { return lane.isBusy; });
        if (busy == lanes_.cend())
            return moveMark(); // also behind lines without an item
        if (const int code = waitFor(*busy))
            return code;
    }
}

/** Takes replies until that to the lane's batch has come. The next batch is on its way then if it was full. */
int Importer::waitFor(const Lane& lane)
{
    const long long request = lane.number;
    while (lane.isBusy && lane.number == request) {
        std::vector<pollfd> watched;
        watchReplies(&watched);
        // With a time limit for replies, taking one is what watches it.
        if (waitsForever_ && ::poll(watched.data(), watched.size(), -1) < 0 && errno != EINTR)
            return stop(ExitNoReply, std::string("cannot wait for replies: ") + std::strerror(errno));
        for (std::size_t i = 0; !waitsForever_ && i < lanes_.size(); ++i) {
            if (&lanes_[i] == &lane)
                watched[i].revents = POLLIN;
        }
        if (const int code = takeReplies(watched))
            return code;
    }
    return ExitOk;
}

/** One element for each lane. */
void Importer::watchReplies(std::vector<pollfd>* watched) const
{
    for (const Lane& lane : lanes_)
        watched->push_back({lane.isBusy ? lane.session.socketDescriptor() : -1, POLLIN, 0});
}

int Importer::takeReplies(const std::vector<pollfd>& watched)
{
    for (std::size_t i = 0; i < lanes_.size(); ++i) {
        Lane& lane = lanes_[i];
        if (watched[i].revents == 0)
            continue;
        int code = takeReply(&lane);
        if (code == ExitOk && lane.next.isFull())
            code = sendToIdle();
        if (code != ExitOk)
            return code;
    }
    return ExitOk;
}

int Importer::takeReply(Lane* lane)
{
    QVariantMap reply;
    int code = receive(lane, &reply);
    if (code == ExitNoReply)
        return stop(code, "no reply came");
    for (std::size_t i = 0; code == ExitOk && i < lane->sent.size(); ++i)
        setStored(*lane, i);
    if (code == ExitErrorReply)
        code = sendOneByOne(lane);
    return code == ExitOk ? moveMark() : code;
}

int Importer::sendOneByOne(Lane* lane)
{
    for (std::size_t i = 0; i < lane->sent.size(); ++i) {
        QVariantMap reply;
        lane->number = ++requests_;
        int code = lane->session.send(Operations::BatchWriteItem, lane->sent.requestBody(table_, i, 1));
        if (code == ExitOk)
            code = receive(lane, &reply);
        if (code == ExitNoReply)
            return stop(code, "no reply came");
        if (code == ExitOk)
            setStored(*lane, i);
        else if (const int tooMany = setRefused(*lane, i, reply))
            return tooMany;
    }
    return ExitOk;
}

/** Returns ExitOk only when nothing was returned unprocessed. */
int Importer::receive(Lane* lane, QVariantMap* reply)
{
    lane->isBusy = false;
    const int code = lane->session.receive(reply);
    return code == ExitOk && !reply->value("UnprocessedItems").toMap().isEmpty() ? int{ExitErrorReply} : code;
}

void Importer::setStored(const Lane& lane, std::size_t item)
{
    lines_.setStored(lane.sent.lineOf(item));
    // What another lane sent before the refusal, when the server may still have worked, says nothing.
    if (refusedInARow_ > 0 && lane.number > lastOfRefusal_) {
        refusedInARow_ = 0;
        lines_.confirmRefused();
    }
}

int Importer::setRefused(const Lane& lane, std::size_t item, const QVariantMap& reply)
{
    const long long line = lane.sent.lineOf(item);
    complainLine(line, "the server refused it: " +
                           (Envelopes::isSuccess(reply) ? "it was returned unprocessed" : serverSays(reply)));
    lines_.setRefused(line);
    lastOfRefusal_ = requests_;
    if (++refusedInARow_ < MostRefusedInARow)
        return ExitOk;
    return stop(ExitErrorReply, "the server refused " + std::to_string(MostRefusedInARow) + " items in a row");
}

int Importer::moveMark()
{
    return lines_.mark().line == mark_.line ? int{ExitOk} : saveMark();
}

int Importer::saveMark()
{
    mark_ = lines_.mark();
    const std::string error = state_.save(mark_);
    return error.empty() ? int{ExitOk} : stop(ExitErrorReply, error);
}

int Importer::finish()
{
    progress_->finish(itemsOfThisRun(), source_->bytes() - skippedBytes_);
    progress_.reset();
    state_.remove();
    const ImportMark all = lines_.all();
    if (all.refused == 0)
        return ExitOk;
    complain(counted(all.refused, "item") + " of " + input_.name + (all.refused == 1 ? " was" : " were") +
             " refused, " + std::to_string(all.stored) + " stored in " + table_);
    return ExitErrorReply;
}

void Importer::complainLine(long long line, const std::string& reason) const
{
    complain(input_.name + ':' + std::to_string(line) + ": " + reason);
}

int Importer::cannotRead()
{
    return stop(ExitErrorReply, "cannot read " + input_.name + ": " + source_->error());
}

/**
 * Takes the replies to what is under way, so that nothing of this import is written after its end, when the next one
 * may have begun; with `arrived` only those that are there.
 */
void Importer::settle(bool arrived)
{
    for (Lane& lane : lanes_) {
        char first = 0;
        if (!lane.isBusy ||
            (arrived && ::recv(lane.session.socketDescriptor(), &first, 1, MSG_PEEK | MSG_DONTWAIT) != 1))
            continue;
        QVariantMap reply;
        const bool stored = receive(&lane, &reply) == ExitOk;
        for (std::size_t i = 0; stored && i < lane.sent.size(); ++i)
            setStored(lane, i);
    }
    mark_ = lines_.mark();
    (void)state_.save(mark_); // ignored: the earlier mark is also one to resume from
}

/** Ends the import before the end of the input, and reports how to resume it. */
int Importer::stop(int code, const std::string& reason)
{
    settle(code == ExitNoReply);
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
