#ifndef QUORVA_TOOLS_COPYREMOVAL_H
#define QUORVA_TOOLS_COPYREMOVAL_H

#include <cstddef>
#include <filesystem>
#include <string>

/**
 * Removes copies from a series (backupseries.h). An interrupted removal leaves no partial copy under the name of
 * a copy. Functions return an empty string or an error message.
 */
namespace CopyRemoval {

/** What to keep of a series. */
struct Policy {
    std::size_t keep = 7;           // copies that count, the newest ones
    bool onlyVerifiedCount = true;  // false: every complete copy counts
    std::filesystem::path newest{}; // kept, whatever its state
};

/**
 * Removes all copies that are older than those to keep, whether they count or not, and all unfinished ones. Ends early
 * when an Interruption is requested. `removed` is their number.
 */
[[nodiscard]] std::string prune(const std::filesystem::path& series, const Policy& policy, std::size_t* removed);

/** Removes what killed runs left in a series. */
[[nodiscard]] std::string removeLeftovers(const std::filesystem::path& series);

} // namespace CopyRemoval

#endif
