#ifndef QUORVA_TOOLS_ADMINACTION_H
#define QUORVA_TOOLS_ADMINACTION_H

#include "tools/serveraddress.h"

#include <string>

namespace Ctl {

/**
 * Sends an administrative action in an UpdateTable. Returns an exit code; errors have been reported with messages that
 * begin with `failed`.
 */
[[nodiscard]] int sendAction(const ServerAddress& server, const std::string& table, const char* action,
                             const std::string& value, const std::string& failed);

} // namespace Ctl

#endif
