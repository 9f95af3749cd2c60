#ifndef QUORVA_CLIENT_PAGING_H
#define QUORVA_CLIENT_PAGING_H

#include "protocol/operations.h"

#include <QString>
#include <QVariantMap>

namespace Client {

/**
 * The pages of one Query or Scan. The next page starts after a page's last key, but not every key can be resumed from:
 * an empty one counts as none, and one may precede the start of its page. Then the same page is requested again with
 * twice the limit, and the caller drops the items it already has.
 */
class Paging {
public:
    enum class Next { Page, SamePage, End };

    /** `body` is a Query or Scan without "Limit"; a `limit` below 1 means the server's default. */
    Paging(const Operations::Operation& operation, QVariantMap body, int limit);

    /** The request for the current page. */
    const QVariantMap& body() const { return body_; }

    /** Moves on to the page after the one in `reply`. */
    Next advance(const QVariantMap& reply);

private:
    bool leadsOn(const QString& hash, const QString& range) const;
    void setLimit(int limit);

    const bool isQuery_;
    const bool isDown_;
    const QString bound_; // upper bound of the keys that a downward query finds
    const int firstLimit_;
    int limit_ = 0;
    QVariantMap body_;
};

} // namespace Client

#endif
