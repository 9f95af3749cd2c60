#include "tools/bytecount.h"

#include "tools/messages.h"

#include <cstdio>

namespace Ctl {

std::string byteCount(std::uint64_t bytes)
{
    if (bytes < 1000)
        return counted(static_cast<long long>(bytes), "byte");
    const char* const units[] = {"KB", "MB", "GB", "TB"};
    double number = static_cast<double>(bytes) / 1000;
    const char* const* unit = units;
    for (; number >= 999.95 && unit != units + 3; ++unit)
        number /= 1000;
    char text[32];
    std::snprintf(text, sizeof text, "%.1f %s", number, *unit);
    return text;
}

} // namespace Ctl
