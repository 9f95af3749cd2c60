#ifndef QUORVA_CLIENT_PAGING_H
#define QUORVA_CLIENT_PAGING_H

#include <QStringList>
#include <QVariantMap>

/** What has to be known to read a Query or Scan to its end: which conditions can be resumed, and from where. */
namespace Client {

/** The items that a page has when a request names no "Limit". */
inline constexpr int DefaultPageLimit = 128;

/** A condition as "RangeKeyCondition" has it. */
QVariantMap rangeCondition(const QString& comparison, const QStringList& keys);

/**
 * All range keys, read from the last one down. A query down without a condition begins at the byte 255 instead, above
 * which there may be more, and when its start key was deleted meanwhile, it answers the next greater one a second time.
 */
QVariantMap allKeysDown();

/**
 * The range keys that begin with `prefix`, in place of BEGINS_WITH, which cannot be resumed: the start key of the
 * second page takes the prefix's place. Up, these are the keys between two; down, they are all at or below one, and the
 * reader ends at the first key without the prefix.
 */
QVariantMap keysWithPrefix(const QString& prefix, bool down);

/**
 * The pages of one Query or Scan. A page's last key is where the next one begins, but some keys are of no use there: an
 * empty one reads as none, and one may lie in front of where its page began. Then the same page is asked for again with
 * twice the limit, and the caller leaves out what it has had of it.
 */
class Paging {
public:
    enum class Next { Page, SamePage, End };

    /** `body` is all of the request but "Limit"; `limit` below 1 is the server's. */
    Paging(const QString& operation, QVariantMap body, int limit);

    /** The request for the page under way. */
    const QVariantMap& body() const { return body_; }

    /** Goes on behind the page that `reply` gave. */
    Next advance(const QVariantMap& reply);

private:
    bool leadsOn(const QString& hash, const QString& range) const;
    void setLimit(int limit);

    const bool isQuery_;
    const bool isDown_;
    const int firstLimit_;
    int limit_ = 0;
    QVariantMap body_;
};

} // namespace Client

#endif
