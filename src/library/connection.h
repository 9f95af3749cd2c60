#ifndef QUORVA_CONNECTION_H
#define QUORVA_CONNECTION_H

#include <quorva/export.h>
#include <quorva/itemrange.h>
#include <quorva/requests.h>
#include <quorva/result.h>
#include <quorva/values.h>

#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <chrono>
#include <memory>

namespace Quorva {

/** The address of a server that was started without options: the loopback address and the usual port. */
QUORVA_EXPORT QString defaultHost();
QUORVA_EXPORT int defaultPort();

/** The server's address, and how long to wait for it. */
struct Server {
    QString host = defaultHost(); // a dotted IPv4 address
    int port = defaultPort();
    /** Limit for establishing the connection. 0: as long as the system tries. */
    std::chrono::milliseconds connectLimit = std::chrono::seconds(5);
    /**
     * Limit for the next bytes of a reply to arrive, or for the server to accept more of a request. 0: no limit. The
     * first request to a directory may wait for the recovery of its files, a deleteTable for all other requests there.
     */
    std::chrono::milliseconds receiveLimit{0};
};

/**
 * A connection to a server, which carries one request after another; each call waits for its reply. No call throws;
 * each reports its outcome in a Result.
 *
 *     Quorva::Connection connection;
 *     if (const Quorva::Result opened = connection.open(); !opened)
 *         qWarning() << opened.errorText();
 *     const Quorva::Result found = connection.getItem("shop|orders", {"abc", "2012-01"});
 *
 * If no complete reply is received, the connection is closed: a late reply would be mistaken for that of the next
 * request. There are no automatic retries or reconnects, as a write may have been executed.
 *
 * A connection is for one thread at a time. Concurrent requests need several connections.
 */
class QUORVA_EXPORT Connection {
public:
    Connection();
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    /** A moved-from connection may only be destroyed or assigned to. */
    Connection(Connection&& other) noexcept;
    Connection& operator=(Connection&& other) noexcept;

    /** Connects, replacing any existing connection. The outcome is Success or NoReply. */
    Result open(const Server& server = {});
    void close();
    bool isOpen() const;

    /**
     * Calls any operation, such as "PutItem" or "DynamoDB_20111205.PutItem", with a body as the protocol describes it.
     */
    Result call(const QString& operation, const QVariantMap& body);

    /** Creates a table, or replaces the description of an existing one; its items remain. */
    Result createTable(const Table& table);
    Result describeTable(const QString& table);
    /** Closes the table's directory, with all tables in it. No file is deleted; the next request opens it again. */
    Result deleteTable(const QString& table);

    /** Stores the item, replacing any with the same keys. */
    Result putItem(const QString& table, const Item& item, const WriteOptions& options = {});
    /** The result's item() has all attributes, or those named, without the keys. */
    Result getItem(const QString& table, const Key& key, const QStringList& attributes = {});
    /** Changes attributes; creates the item if it does not exist. */
    Result updateItem(const QString& table, const Key& key, const Updates& updates, const UpdateOptions& options = {});
    /** Deleting an item that does not exist succeeds. */
    Result deleteItem(const QString& table, const Key& key, const WriteOptions& options = {});
    /** Executes all of the batch or nothing; on success, unprocessed() may have the tables of another directory. */
    Result batchWrite(const Batch& batch);

    /**
     * Reads one page of the items of a hash key, or of a whole table. Pass its lastKey() as startKey to get the next
     * page; the pages of a query have the same items as queryAll, in the same order. A backward query with beginsWith
     * takes a second request. An empty range key leads back to the first page: only queryAll gets past it.
     */
    Result query(const QString& table, const QString& hash, const QueryOptions& options = {});
    Result scan(const QString& table, const ScanOptions& options = {});
    /** Reads all pages, one by one as the range is iterated over; see ItemRange. */
    ItemRange queryAll(const QString& table, const QString& hash, const QueryOptions& options = {});
    ItemRange scanAll(const QString& table, const ScanOptions& options = {});

private:
    class Private;
    std::unique_ptr<Private> d_;
};

} // namespace Quorva

#endif
