#ifndef QUORVA_TOOLS_COPYREQUEST_H
#define QUORVA_TOOLS_COPYREQUEST_H

#include "tools/serveraddress.h"

#include <string>

namespace Ctl {

class CopyTarget;

/**
 * Requests to the server for a backup of a table's environment to a directory, which is absolute. Both return an exit
 * code; errors have been reported, with messages that begin with `failed` where the server gave the reason.
 */

/** Prepares the target of a full copy and requests the copy, which may still be refused a moment later. */
[[nodiscard]] int requestCopy(const ServerAddress& server, const std::string& table, const std::string& directory,
                              const std::string& failed, CopyTarget* target);

/** Has log files shipped to an earlier copy, and waits a second to see whether the server refuses the directory. */
[[nodiscard]] int requestShipping(const ServerAddress& server, const std::string& table, const std::string& directory,
                                  const std::string& failed);

} // namespace Ctl

#endif
