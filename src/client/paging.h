#ifndef QUORVA_CLIENT_PAGING_H
#define QUORVA_CLIENT_PAGING_H

#include "protocol/operations.h"

#include <QString>
#include <QVariantMap>

namespace Client {

/**
 * The pages of one Query or Scan. A page's last key is where the next one begins, but some keys are of no use there: an
 * empty one reads as none, and one may lie in front of where its page began. Then the same page is asked for again with
 * twice the limit, and the caller leaves out what it has had of it.
 */
class Paging {
public:
    enum class Next { Page, SamePage, End };

    /** `body` is all of a Query or Scan but "Limit"; `limit` below 1 is the server's. */
    Paging(const Operations::Operation& operation, QVariantMap body, int limit);

    /** The request for the page under way. */
    const QVariantMap& body() const { return body_; }

    /** Goes on behind the page that `reply` gave. */
    Next advance(const QVariantMap& reply);

private:
    bool leadsOn(const QString& hash, const QString& range) const;
    void setLimit(int limit);

    const bool isQuery_;
    const bool isDown_;
    const QString bound_; // of a query down: no key that it finds is greater
    const int firstLimit_;
    int limit_ = 0;
    QVariantMap body_;
};

} // namespace Client

#endif
