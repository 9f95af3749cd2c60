#ifndef QUORVA_CLIENT_EXCHANGERESULT_H
#define QUORVA_CLIENT_EXCHANGERESULT_H

namespace Client {

/** How far an exchange with the server got. */
enum class ExchangeResult {
    Done,
    NotSent,  // the server did not receive the complete request, so it did nothing
    Lost,     // the connection was lost before the reply was complete; the request may have been executed
    TimedOut, // the same, because no reply arrived in time
};

} // namespace Client

#endif
