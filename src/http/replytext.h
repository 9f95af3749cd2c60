#ifndef QUORVA_HTTP_REPLYTEXT_H
#define QUORVA_HTTP_REPLYTEXT_H

#include "protocol/operations.h"

#include <QByteArray>

namespace Http {

/** What an HTTP client is answered. */
struct Answer {
    int status = 0;     // of HTTP
    QByteArray outcome; // the "__rcstr" of the server's reply; empty when there was none
    QByteArray body;    // JSON
};

/**
 * Makes an answer of a server's reply to `operation`: "__rc" and "__rcstr" become the status and
 * the outcome, all other members the body, as they stand, but
 * - keys that come as bare strings are wrapped in {"S": ...}: the elements of "LastEvaluatedKey", which clients send
 *   back as they got it, and the keys among the "Attributes" of an UpdateItem;
 * - the "__type" of an error gets the prefix of the API, and "__type" and "message" are added where they are missing.
 * False when the reply is no object with such an envelope; `answer` is then not changed.
 */
[[nodiscard]] bool translateReply(const Operations::Operation& operation, const QByteArray& reply, Answer* answer);

} // namespace Http

#endif
