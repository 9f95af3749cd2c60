#ifndef QUORVA_NET_REPLYENVELOPE_H
#define QUORVA_NET_REPLYENVELOPE_H

#include "protocol/envelope.h"

/** Which envelope a reply gets. */
namespace ReplyEnvelope {

/** The envelope of a status; one that is not listed counts as an internal error. */
const Envelope& of(int status);

/** True for the statuses that operations answer in the ordinary course: all but 2 and those that are not listed. */
bool isOrdinary(int status);

} // namespace ReplyEnvelope

#endif
