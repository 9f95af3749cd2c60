#ifndef QUORVA_RESULT_H
#define QUORVA_RESULT_H

#include <quorva/export.h>
#include <quorva/requests.h>
#include <quorva/values.h>

#include <QList>
#include <QString>
#include <QVariantMap>

#include <optional>

namespace Quorva {

/** How a request ended. */
enum class Outcome {
    Success,
    ConditionFailed, // a condition of the request does not hold, and nothing was changed
    ErrorReply,      // the server refused the request; rcstr(), errorType() and its log tell why
    NoReply,         // no whole reply came: a write may have been done or not. The connection is closed
};

/**
 * What came of a request: its outcome, the reply, and the parts of the reply that programs ask for, which are empty
 * where the reply has none. A plain value; any thread may have its own.
 */
class [[nodiscard]] QUORVA_EXPORT Result {
public:
    /** A success without a reply. */
    Result() = default;
    static Result fromReply(const QVariantMap& reply);
    static Result noReply(const QString& why);

    Outcome outcome() const { return outcome_; }
    bool ok() const { return outcome_ == Outcome::Success; }
    explicit operator bool() const { return ok(); }

    /** The whole reply; empty with NoReply. */
    const QVariantMap& reply() const { return reply_; }
    /** "__rc" and "__rcstr" of the reply, such as 200 and "OK"; 0 and empty with NoReply. */
    int rc() const;
    QString rcstr() const;
    /** "__type" of an error, such as "ResourceNotFoundException". */
    QString errorType() const;
    /** One line for people: the error reply's message, or why no reply came. Empty with a success. */
    QString errorText() const;

    /** What getItem found, without its keys; nothing when there is no such item. */
    std::optional<Item> item() const;
    /** What putItem, updateItem and deleteItem return of an item. */
    Item attributes() const;
    /** The items of one page of a query or scan. */
    QList<Item> items() const;
    /** How many items a query or scan found, and how many a scan examined for that. */
    int count() const;
    int scannedCount() const;
    /** Where the next page begins, to be its startKey; nothing when this was the last one. */
    std::optional<Key> lastKey() const;
    /** What describeTable and createTable tell of a table. */
    QVariantMap table() const;
    /** What batchWrite did not do, to be sent again. */
    Batch unprocessed() const;

private:
    Outcome outcome_ = Outcome::Success;
    QVariantMap reply_;
    QString why_; // with NoReply
};

} // namespace Quorva

#endif
