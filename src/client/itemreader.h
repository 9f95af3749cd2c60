#ifndef QUORVA_CLIENT_ITEMREADER_H
#define QUORVA_CLIENT_ITEMREADER_H

#include "client/paging.h"
#include "protocol/operations.h"

#include <QByteArray>
#include <QHash>
#include <QString>
#include <QVariantList>
#include <QVariantMap>

#include <functional>

namespace Client {

/**
 * Sends a request and waits for its reply. Returns false if the reader must stop: no reply was received, or an error
 * reply. The caller keeps what it needs to report that; `reply` is read only if this returns true.
 */
using Exchange =
    std::function<bool(const Operations::Operation& operation, const QVariantMap& body, QVariantMap* reply)>;

/**
 * Reads all pages of a Query or Scan: every item once and in order.
 *
 *     Client::ItemReader reader(exchange, Operations::Query, body, 0);
 *     while (reader.next())
 *         print(reader.item());
 *
 * A Query that the server could not resume is sent in another form that finds the same items. A query for a key prefix
 * can also walk downward ("ScanIndexForward" is false), which the server's BEGINS_WITH does not support. The other
 * conditions determine the direction: LT and LE walk downward, the rest upward.
 *
 * For one thread at a time. Only next() and readFirstPage() call the exchange.
 */
class ItemReader {
public:
    /** `body` is the whole request; `limit` replaces its "Limit"; below 1 it means the server's default. */
    ItemReader(Exchange exchange, const Operations::Operation& operation, const QVariantMap& body, int limit);
    ItemReader(const ItemReader&) = delete;
    ItemReader& operator=(const ItemReader&) = delete;

    /**
     * Advances to the next item, initially the first one. Returns false after the last one, or if an exchange failed.
     */
    [[nodiscard]] bool next();
    /** The current item. */
    const QVariantMap& item() const { return item_; }

    /**
     * Reads only the first page: the server's reply, without items past the end of the range, and without a key to
     * resume from if nothing follows the page. A page that has neither items nor a key to resume from is read again
     * with twice the limit. Returns false if an exchange failed.
     */
    [[nodiscard]] bool readFirstPage(QVariantMap* reply);

private:
    QVariantMap prepared(QVariantMap body);
    bool readNextPage();
    bool readPage(const QVariantMap& body);
    bool readRangeName();
    void cutBehindTheLastItem();
    bool exchange(const Operations::Operation& operation, const QVariantMap& body, QVariantMap* reply);

    const Exchange exchange_;
    const Operations::Operation operation_;
    bool countOnly_ = false; // only for readFirstPage()
    bool onePage_ = false;   // at most one key can match
    QString prefix_;         // if not empty, the range ends at the first item whose range key begins differently
    QString rangeName_;      // name of the range key's attribute; read when there is a prefix
    Paging pages_;

    QVariantMap reply_;            // the current page
    QVariantList items_;           // its items, without those already returned
    qsizetype next_ = 0;           // index in items_
    QHash<QByteArray, int> given_; // how often each item of a page that is reread has already been returned
    QVariantMap item_;
    bool started_ = false;
    bool failed_ = false;
};

} // namespace Client

#endif
