#include "format/berkeleydbnames.h"

#include "format/logfiles.h"

namespace BerkeleyDbNames {

bool isInternal(std::string_view name)
{
    return name.starts_with("__db");
}

bool isReserved(std::string_view name)
{
    return name == ConfigFile || isInternal(name) || LogFiles::isTakenForOne(name);
}

} // namespace BerkeleyDbNames
