#ifndef QUORVA_HTTP_APIRESPONSES_H
#define QUORVA_HTTP_APIRESPONSES_H

#include "http/httpservice.h"
#include "http/message.h"
#include "http/replytext.h"

#include <string>

/** Responses in the API's format, with the headers that all of them have. */
namespace Http::ApiResponses {

Response of(Answer&& answer);
/**
 * An error that does not come from the server; see OwnErrorTypes. The type is one of the version of the API that the
 * request's target has; of the older one if it has none.
 */
Response error(const RequestHead& head, int status, const char* type, const std::string& message);
Response fault(const RequestHead& head, Fault fault);

} // namespace Http::ApiResponses

#endif
