#ifndef QUORVA_TOOLS_COMMANDS_H
#define QUORVA_TOOLS_COMMANDS_H

#include "tools/commandlist.h"

namespace Ctl {

/** All commands of quorvactl, declared to its command-line parser. A command must be in this list to exist. */
CommandList allCommands(CLI::App* app);

} // namespace Ctl

#endif
