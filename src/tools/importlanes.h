#ifndef QUORVA_TOOLS_IMPORTLANES_H
#define QUORVA_TOOLS_IMPORTLANES_H

#include "tools/importaccount.h"
#include "tools/importbatch.h"
#include "tools/serveraddress.h"
#include "tools/session.h"

#include <QByteArray>
#include <QVariantMap>

#include <string>
#include <vector>

#include <poll.h>

namespace Ctl {

/**
 * The connections of an import: sends items in batches, which the server applies atomically, over several connections
 * at once. When a batch is not applied, its items are sent one by one, so that only the offending ones are refused.
 *
 * Items with the same hash key always take the same connection, which keeps their order; so do all items of a data
 * file, so that the server's writers do not wait for each other.
 *
 * Results are exit codes. After a failure the import has to stop: the account has the reason.
 */
class ImportLanes {
public:
    /** `account` is not owned. */
    ImportLanes(const ServerAddress& server, std::string table, ImportAccount* account);

    /** Reads the key attributes of the table. Errors have been reported. */
    [[nodiscard]] int readKeys(KeyNames* keys) { return lanes_.front().session.readKeys(table_, keys); }

    /** Adds the item of a line to the batch for its hash key, and sends batches that are full. */
    [[nodiscard]] int add(long long line, const QByteArray& text, const ItemKey& key);

    /** Sends what was added over the connections that are idle. */
    [[nodiscard]] int sendToIdle();
    /** Sends all that was added and takes all replies. */
    [[nodiscard]] int sendAll();

    /** Adds one element for each connection, to wait for replies. */
    void watchReplies(std::vector<pollfd>* watched) const;
    /** Takes the replies that have arrived according to `watched`, which begins with these elements. */
    [[nodiscard]] int takeReplies(const std::vector<pollfd>& watched);

    /**
     * Takes the replies to outstanding requests, so that this import writes nothing after its end, when the next one
     * may have begun; with `arrived`, only the replies that have already arrived.
     */
    void settle(bool arrived);

private:
    struct Lane {
        explicit Lane(const ServerAddress& server) : session(server) {}

        Session session;
        ImportBatch next; // its items are being collected
        ImportBatch sent;
        long long number = 0; // of the last request
        bool isBusy = false;  // waiting for the reply
    };

    Lane& laneOf(const ItemKey& key);
    int send(Lane* lane);
    int waitFor(const Lane& lane);
    int takeReply(Lane* lane);
    int sendOneByOne(Lane* lane);
    static int receive(Lane* lane, QVariantMap* reply);
    void setStored(const Lane& lane, std::size_t item);

    const std::string table_;
    ImportAccount* const account_;
    const bool waitsForever_; // for a reply
    std::vector<Lane> lanes_;
    long long requests_ = 0; // sent
};

} // namespace Ctl

#endif
