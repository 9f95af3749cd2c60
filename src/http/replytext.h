#ifndef QUORVA_HTTP_REPLYTEXT_H
#define QUORVA_HTTP_REPLYTEXT_H

#include "protocol/operations.h"

#include <QByteArray>

namespace Http {

/** The answer to an HTTP client. */
struct Answer {
    int status = 0;     // HTTP status
    QByteArray outcome; // the "__rcstr" of the server's reply; empty when there was none
    QByteArray body;    // JSON
};

/**
 * Translates a server's reply to `operation` into an answer: "__rc" and "__rcstr" become the status and the outcome,
 * and all other members the body, unchanged, except that
 * - keys that are bare strings are wrapped in {"S": ...}: the elements of "LastEvaluatedKey", which clients send back
 *   unchanged, and the keys among the "Attributes" of an UpdateItem;
 * - the "__type" of an error gets the prefix of the API, and "__type" and "message" are added where they are missing.
 *
 * Returns false, with `answer` unchanged, when the reply is not an object with such an envelope.
 */
[[nodiscard]] bool translateReply(const Operations::Operation& operation, const QByteArray& reply, Answer* answer);

} // namespace Http

#endif
