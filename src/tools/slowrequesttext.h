#ifndef QUORVA_TOOLS_SLOWREQUESTTEXT_H
#define QUORVA_TOOLS_SLOWREQUESTTEXT_H

#include "client/serverstatus.h"
#include "tools/textcolumns.h"

#include <string>
#include <vector>

/** A server's slow requests in readable form. */
namespace SlowRequestText {

/** A table of these requests of a status, in their order; or a sentence why there are none. Columns that `width` has no
 * room for are left out. */
std::vector<std::string> lines(const Client::ServerStatus& status,
                               const std::vector<Client::ServerStatus::SlowRequest>& requests,
                               int width = Ctl::TextColumns::AnyWidth);

} // namespace SlowRequestText

#endif
