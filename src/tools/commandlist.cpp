#include "tools/commandlist.h"

#include <algorithm>

namespace Ctl {

int CommandList::runChosen(const ServerAddress& server) const
{
    const auto chosen =
        std::find_if(commands_.begin(), commands_.end(), [](const auto& command) { return command->chosen(); });
    return (*chosen)->run(server);
}

} // namespace Ctl
