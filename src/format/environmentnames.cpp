#include "format/environmentnames.h"

#include "format/logfiles.h"

namespace EnvironmentNames {

bool isInternal(std::string_view name)
{
    return name.starts_with("__db");
}

bool isReserved(std::string_view name)
{
    return name == ConfigFile || isInternal(name) || LogFiles::isTakenForOne(name);
}

} // namespace EnvironmentNames
