#ifndef QUORVA_TOOLS_IMPORTER_H
#define QUORVA_TOOLS_IMPORTER_H

#include "tools/importbatch.h"
#include "tools/importlines.h"
#include "tools/importsource.h"
#include "tools/importstate.h"
#include "tools/progressbar.h"
#include "tools/serveraddress.h"
#include "tools/session.h"

#include <QByteArray>
#include <QVariantMap>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <poll.h>

namespace Ctl {

/** The input of an import. */
struct ImportInput {
    int descriptor = -1;              // the caller's
    std::string name;                 // in messages
    qint64 bytes = -1;                // its size, or below 0
    bool isCsv = false;               // comma-separated values instead of JSON
    std::vector<std::string> types{}; // see CsvColumns
    ProgressBar::When progress = ProgressBar::When::OnTerminal;
};

/**
 * Stores the items of an input in a table, as if each were a separate put, in order: of two items
 * with the same keys, the later one wins. They are sent in batches, which the server applies atomically. When a batch
 * is not applied, its items are sent one by one, so that only the offending ones are refused.
 *
 * Batches are sent over several connections at once. Items with the same hash key always take the same one, which
 * keeps their order; so do all items of a data file, so that the server's writers do not wait for each other. An input
 * that pauses is not waited for: what was read is sent.
 */
class Importer {
public:
    /** `mark` is how far an earlier import of the same input got. */
    Importer(const ServerAddress& server, std::string table, ImportInput input, ImportState state,
             const ImportMark& mark);

    /** Returns an exit code; everything has been reported. */
    [[nodiscard]] int run();

private:
    /** One of the connections. */
    struct Lane {
        explicit Lane(const ServerAddress& server) : session(server) {}

        Session session;
        ImportBatch next; // its items are being collected
        ImportBatch sent;
        long long number = 0; // of the last request
        bool isBusy = false;  // the reply is awaited
    };

    std::unique_ptr<ImportSource> makeSource();
    int begin();
    int skipToMark();
    int transfer();
    bool awaitInput();
    int take(const QByteArray& item);
    void refuseLine(const std::string& reason);
    Lane& laneOf(const ItemKey& key);

    int send(Lane* lane);
    int sendToIdle();
    int sendAll();
    int waitFor(const Lane& lane);
    void watchReplies(std::vector<pollfd>* watched) const;
    int takeReplies(const std::vector<pollfd>& watched);
    int takeReply(Lane* lane);
    int sendOneByOne(Lane* lane);
    static int receive(Lane* lane, QVariantMap* reply);

    void setStored(const Lane& lane, std::size_t item);
    int setRefused(const Lane& lane, std::size_t item, const QVariantMap& reply);
    int moveMark();
    int saveMark();
    void settle(bool arrived);
    int finish();
    void complainLine(long long line, const std::string& reason) const;
    int cannotRead();
    int stop(int code, const std::string& reason);
    long long itemsOfThisRun() const { return lines_.all().stored - begin_.stored; }

    const std::string table_;
    const ImportInput input_;
    const ImportState state_;
    const ImportMark begin_;
    ImportLines lines_;
    ImportMark mark_; // where the next run would start

    const bool waitsForever_; // for a reply
    std::vector<Lane> lanes_;
    KeyNames keys_;
    const std::unique_ptr<ImportSource> source_;
    int failure_ = 0;                     // the exit code of a failure while the input was awaited
    std::optional<ProgressBar> progress_; // set once the mark has been reached
    qint64 skippedBytes_ = 0;

    long long requests_ = 0;
    int refusedInARow_ = 0;       // by the server
    long long lastOfRefusal_ = 0; // the last request that had been sent when it refused the last one of them
};

} // namespace Ctl

#endif
