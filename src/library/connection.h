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

/** Where the server is, and how long it is waited for. */
struct Server {
    QString host = QStringLiteral("127.0.0.1"); // a dotted IPv4 address
    int port = 4567;
    /** For the connection to come about. 0: as long as the system tries. */
    std::chrono::milliseconds connectLimit = std::chrono::seconds(5);
    /**
     * For the next bytes of a reply, or for the server to take the next ones of a request. 0: no limit. The first
     * request to a directory may wait for the recovery of its files, a deleteTable for all other requests there.
     */
    std::chrono::milliseconds receiveLimit{0};
};

/**
 * A connection to a server, which carries one request after another; each call waits for its reply. No call throws,
 * each tells its outcome in a Result.
 *
 *     Quorva::Connection connection;
 *     if (const Quorva::Result opened = connection.open(); !opened)
 *         qWarning() << opened.errorText();
 *     const Quorva::Result found = connection.getItem("shop|orders", {"abc", "2012-01"});
 *
 * When no whole reply came, the connection is closed: a late reply would be taken for the next one's. Nothing is sent
 * again and nothing is opened again by itself, as a write may have been done.
 *
 * A connection is for one thread at a time. Several requests at once take several connections.
 */
class QUORVA_EXPORT Connection {
public:
    Connection();
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    /** What was moved from may be destroyed and assigned to, nothing else. */
    Connection(Connection&& other) noexcept;
    Connection& operator=(Connection&& other) noexcept;

    /** Connects, in place of any connection there was: Success or NoReply. */
    Result open(const Server& server = {});
    void close();
    bool isOpen() const;

    /** Any operation, "PutItem" or "DynamoDB_20111205.PutItem", with the body that the protocol describes. */
    Result call(const QString& operation, const QVariantMap& body);

    /** Makes a table, or gives one that exists another description; its items stay. */
    Result createTable(const Table& table);
    Result describeTable(const QString& table);
    /** Closes the table's directory, with all tables in it. No file is deleted; the next request opens it again. */
    Result deleteTable(const QString& table);

    /** Stores the item in place of any with the same keys. */
    Result putItem(const QString& table, const Item& item, const WriteOptions& options = {});
    /** item() of the result has all attributes, or those named, without the keys. */
    Result getItem(const QString& table, const Key& key, const QStringList& attributes = {});
    /** Changes attributes; an item that does not exist comes into being. */
    Result updateItem(const QString& table, const Key& key, const Updates& updates, const UpdateOptions& options = {});
    /** To delete what does not exist is a success. */
    Result deleteItem(const QString& table, const Key& key, const WriteOptions& options = {});
    /** All of the batch, or nothing; a success may have left tables of another directory in unprocessed(). */
    Result batchWrite(const Batch& batch);

    /**
     * One page of the items of a hash key, or of a whole table. With its lastKey() as startKey the next one follows, so
     * that the pages of a query are what queryAll gives, in the same order. A query backward with beginsWith takes a
     * second request. An empty range key leads back to the first page: only queryAll goes on behind it.
     */
    Result query(const QString& table, const QString& hash, const QueryOptions& options = {});
    Result scan(const QString& table, const ScanOptions& options = {});
    /** The same to the end, page after page, while it is iterated over; see ItemRange. */
    ItemRange queryAll(const QString& table, const QString& hash, const QueryOptions& options = {});
    ItemRange scanAll(const QString& table, const ScanOptions& options = {});

private:
    class Private;
    std::unique_ptr<Private> d_;
};

} // namespace Quorva

#endif
