#ifndef QUORVA_PAGEREADER_H
#define QUORVA_PAGEREADER_H

#include "client/paging.h"
#include "quorva/requests.h"
#include "quorva/result.h"

#include <QByteArray>
#include <QHash>

namespace Quorva {

class Connection;

/** A query or scan that is to be read to its end. */
struct PagedRequest {
    QString operation;
    QVariantMap body; // all but Limit; ExclusiveStartKey only if the caller named one
    int limit = 0;    // below 1: the server's
    bool onePage = false;
    QString prefix{}; // items whose range key begins differently are not asked for; the first one ends the read

    static PagedRequest query(const QString& table, const QString& hash, const QueryOptions& options);
    static PagedRequest scan(const QString& table, const ScanOptions& options);
};

/**
 * Reads a query or scan item by item. Not installed.
 */
class PageReader {
public:
    /** The connection is the caller's and outlives this. */
    PageReader(Connection* connection, PagedRequest request);

    /** Fetches the first page, once. */
    void start();
    bool atEnd() const { return next_ >= items_.size(); }
    /** Not at the end. */
    const Item& item() const { return items_.at(next_); }
    void advance();

    const Result& result() const { return result_; }

private:
    void fetch();
    void prepareNextPage();
    void fetchUntilSomething();

    Connection* const connection_;
    const PagedRequest request_;
    Client::Paging pages_;
    QString rangeName_; // of the range key's attribute, where a prefix is looked for
    bool started_ = false;
    bool last_ = false; // no page follows the one under way

    QList<Item> items_; // of the page under way
    qsizetype next_ = 0;
    QHash<QByteArray, int> given_; // of the page under way, when it is asked for again; some may look alike
    Result result_;
};

} // namespace Quorva

#endif
