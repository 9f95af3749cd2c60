#ifndef QUORVA_TOOLS_DIRECTORYSETTINGS_H
#define QUORVA_TOOLS_DIRECTORYSETTINGS_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/** The content of the DB_CONFIG that `quorvactl init` writes. Pure. */
namespace DirectorySettings {

struct Merged {
    std::string text;                 // of the whole file
    std::vector<std::string> added;   // the lines without comments
    std::vector<std::string> changed; // "OLD LINE with NEW LINE"

    bool isSame() const { return added.empty() && changed.empty(); }
};

/**
 * Adds the settings of a directory for tables to the text of a DB_CONFIG, which is empty for a new directory. Existing
 * lines are kept, whatever their values: somebody chose them. Only `cacheBytes` replaces the size of the cache, which
 * is otherwise set to 64 MiB if the text does not set it.
 */
Merged merge(std::string_view text, std::optional<std::uint64_t> cacheBytes);

/**
 * Parses a size: a whole number of bytes, or of KiB, MiB or GiB if followed by K, M or G. Returns an empty string, or
 * why it is not a valid cache size for an environment on this machine.
 */
[[nodiscard]] std::string readCacheSize(const std::string& text, std::uint64_t* bytes);

} // namespace DirectorySettings

#endif
