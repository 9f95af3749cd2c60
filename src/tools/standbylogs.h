#ifndef QUORVA_TOOLS_STANDBYLOGS_H
#define QUORVA_TOOLS_STANDBYLOGS_H

#include "tools/standbytarget.h"

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>

namespace Ctl {

/**
 * The log files of a standby: fetched from a backup, byte for byte as the first server wrote them.
 *
 * A file in a backup may be incomplete: the one in which a copy ended, or one that is currently being shipped or
 * transferred. Its records are valid as far as they go, and it is fetched again when it has grown. A file counts as
 * complete once the next one says where its last record begins.
 */
class StandbyLogs {
public:
    using Files = std::map<std::uint32_t, std::filesystem::path>;

    explicit StandbyLogs(std::filesystem::path directory) : directory_(std::move(directory)) {}

    /** The log files of a backup: of one copy, or of all copies of a series. */
    [[nodiscard]] static std::string find(const std::filesystem::path& backup, Files* found);

    /**
     * Copies those numbered `first` and above that are new, or longer than before. `foreign`: a file is not the
     * continuation of the one that is here. Returns an empty string or an error message.
     */
    [[nodiscard]] std::string fetch(const Files& found, std::uint32_t first, bool* foreign);

    /**
     * Examines the files from `first` on: how far they reach without a gap, by their records. `missing` is the number
     * of a file that has to arrive, or has to grow, before a later one can be applied.
     */
    [[nodiscard]] std::string examine(std::uint32_t first, StandbyProgress* progress,
                                      std::optional<std::uint32_t>* missing) const;

    /** Copies the files from `first` to the end of `progress` to the directory for recovery, which is emptied first.
     */
    [[nodiscard]] std::string provide(std::uint32_t first, const StandbyProgress& progress,
                                      const std::filesystem::path& to) const;

    /** Removes those that are no longer needed, and those after `last`. */
    [[nodiscard]] std::string removeOutside(std::uint32_t first, std::uint32_t last) const;

private:
    std::filesystem::path path(std::uint32_t number) const;
    std::string fetchOne(const std::filesystem::path& from, std::uint32_t number, bool* foreign) const;

    const std::filesystem::path directory_;
};

} // namespace Ctl

#endif
