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
 * Sends a request and waits for its reply. False when the reader has to stop: no reply came, or an error. The caller
 * keeps what there is to report; `reply` is read only when it returns true.
 */
using Exchange =
    std::function<bool(const Operations::Operation& operation, const QVariantMap& body, QVariantMap* reply)>;

/**
 * Reads a Query or Scan to its end: page after page, every item once and in order.
 *
 *     Client::ItemReader reader(exchange, Operations::Query, body, 0);
 *     while (reader.next())
 *         print(reader.item());
 *
 * A Query that the server could not resume is sent in another form, which finds the same items. One for the keys with a
 * prefix also walks down if it is asked to ("ScanIndexForward" is false), which the server's BEGINS_WITH does not. The
 * other conditions decide the direction by themselves: LT and LE walk down, the rest up.
 *
 * For one thread at a time. next() and readFirstPage() call the exchange, nothing else does.
 */
class ItemReader {
public:
    /** `body` is the whole request; `limit` replaces its "Limit" and is the server's when it is below 1. */
    ItemReader(Exchange exchange, const Operations::Operation& operation, const QVariantMap& body, int limit);
    ItemReader(const ItemReader&) = delete;
    ItemReader& operator=(const ItemReader&) = delete;

    /** Goes to the next item, the first one at first. False behind the last one, or when an exchange failed. */
    [[nodiscard]] bool next();
    /** The item that next() went to. */
    const QVariantMap& item() const { return item_; }

    /**
     * Reads the first page and nothing else: the server's reply, without what lies behind the last item and without a
     * key to go on from when there is nothing behind the page. One that has neither items nor a key that the next page
     * can begin behind is read again with twice the limit. False when an exchange failed.
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
    bool countOnly_ = false; // honoured by readFirstPage()
    bool onePage_ = false;   // there is one such key at most
    QString prefix_;         // not empty: the first item whose range key begins differently is behind the last one
    QString rangeName_;      // of the range key's attribute; known when there is a prefix
    Paging pages_;

    QVariantMap reply_;            // the page under way
    QVariantList items_;           // its items, without those of it that were given before
    qsizetype next_ = 0;           // index in items_
    QHash<QByteArray, int> given_; // what was given of a page that is read again; some items may look alike
    QVariantMap item_;
    bool started_ = false;
    bool failed_ = false;
};

} // namespace Client

#endif
