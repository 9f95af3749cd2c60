#ifndef QUORVA_REQUEST_REPLYENVELOPE_H
#define QUORVA_REQUEST_REPLYENVELOPE_H

#include "protocol/envelope.h"

/** Selects the envelope of a reply. */
namespace ReplyEnvelope {

/** The envelope of a status; an unlisted one counts as an internal error. */
const Envelope& of(int status);

/** The outcome as one word: the error's type without its prefix, or "Success". */
QString outcomeName(int status);

/** True for the statuses of normal operation: all but 2 and unlisted ones. */
bool isOrdinary(int status);

} // namespace ReplyEnvelope

#endif
