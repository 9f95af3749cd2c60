#include "format/berkeleydbnames.h"

#include "format/logfiles.h"

namespace BerkeleyDbNames {

bool isInternal(std::string_view name)
{
    return name.starts_with("__db");
}

const char* refusal(std::string_view name)
{
    const bool isReserved = name == ConfigFile || isInternal(name) || LogFiles::isTakenForOne(name);
    return isReserved ? R"(DB_CONFIG, "log." with digits, and names that begin with "__db" belong to Berkeley DB)"
                      : nullptr;
}

} // namespace BerkeleyDbNames
