#include "tools/commandlist.h"

#include <algorithm>

namespace Ctl {

Command* CommandList::chosen() const
{
    const auto chosen =
        std::find_if(commands_.begin(), commands_.end(), [](const auto& command) { return command->chosen(); });
    return chosen == commands_.end() ? nullptr : chosen->get();
}

} // namespace Ctl
