#ifndef QUORVA_TOOLS_BACKUPLOGS_H
#define QUORVA_TOOLS_BACKUPLOGS_H

#include <cstdint>
#include <filesystem>
#include <map>

namespace Ctl {

/**
 * The log files in the directory of a copy, shipped ones included: by number, the best copy of each. A copy that is not
 * complete may have some as well. Returns 0 or an errno value.
 */
[[nodiscard]] int addLogsOf(const std::filesystem::path& copy, std::map<std::uint32_t, std::filesystem::path>* logs);

/** The size of a file; 0 when it cannot be determined. */
[[nodiscard]] std::uintmax_t sizeOf(const std::filesystem::path& file);

} // namespace Ctl

#endif
