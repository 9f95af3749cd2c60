#ifndef QUORVA_TOOLS_ADMINACTION_H
#define QUORVA_TOOLS_ADMINACTION_H

#include "tools/serveraddress.h"

#include <string>

namespace Ctl {

/**
 * Sends an administrative action as the UpdateTable that carries it. An exit code; what is wrong has been told in a
 * message that `failed` begins.
 */
[[nodiscard]] int sendAction(const ServerAddress& server, const std::string& table, const char* action,
                             const std::string& value, const std::string& failed);

} // namespace Ctl

#endif
