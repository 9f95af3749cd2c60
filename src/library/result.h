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
    ErrorReply,      // the server refused the request; for the reason see rcstr(), errorType() and the server's log
    NoReply,         // no complete reply was received: a write may have been executed. The connection is closed
};

/**
 * The result of a request: its outcome, the reply, and the commonly used parts of the reply, which are empty if the
 * reply has none. A plain value; any thread may have its own.
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
    /** One readable line: the error reply's message, or why there was no reply. Empty on success. */
    QString errorText() const;

    /** The item found by getItem, without its keys; empty when there is no such item. */
    std::optional<Item> item() const;
    /** The attributes returned by putItem, updateItem and deleteItem. */
    Item attributes() const;
    /** The items of one page of a query or scan. */
    QList<Item> items() const;
    /** The number of items that a query or scan found, and the number that a scan examined. */
    int count() const;
    int scannedCount() const;
    /** The startKey of the next page; empty when this was the last one. */
    std::optional<Key> lastKey() const;
    /** The description returned by describeTable and createTable. */
    QVariantMap table() const;
    /** The part of a batchWrite that was not executed, to be sent again. */
    Batch unprocessed() const;

private:
    Outcome outcome_ = Outcome::Success;
    QVariantMap reply_;
    QString why_; // with NoReply
};

} // namespace Quorva

#endif
