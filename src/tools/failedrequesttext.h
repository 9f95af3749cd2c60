#ifndef QUORVA_TOOLS_FAILEDREQUESTTEXT_H
#define QUORVA_TOOLS_FAILEDREQUESTTEXT_H

#include "client/serverstatus.h"

#include <string>
#include <vector>

/** A server's failed requests in readable form. */
namespace FailedRequestText {

/** A table of those in a status, or a sentence that there are none. */
std::vector<std::string> lines(const Client::ServerStatus& status);

} // namespace FailedRequestText

#endif
