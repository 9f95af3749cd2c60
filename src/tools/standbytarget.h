#ifndef QUORVA_TOOLS_STANDBYTARGET_H
#define QUORVA_TOOLS_STANDBYTARGET_H

#include "base/directorylock.h"

#include <cstdint>
#include <ctime>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace Ctl {

/** How far a standby has got. */
struct StandbyProgress {
    enum Stage {
        Making,    // the databases are being copied
        Following, // log files are applied as they arrive
        Switching, // it has everything, only the guard has to be removed
    };
    Stage stage = Making;
    std::uint32_t first = 0;          // the first log file that the next recovery needs
    std::uint32_t last = 0;           // the last one that has been applied; 0: none
    std::uint64_t end = 0;            // how much of it
    std::optional<std::time_t> until; // the latest commit in it
};

/**
 * The directory of a standby: the databases, as recovery has left them, and in "__log__" the log files that the next
 * recovery needs. Recovery works on copies of these in "__log__/applying", since it appends to the log at the place
 * where the first server's next records belong.
 *
 * A DB_CONFIG with a line that Berkeley DB does not know keeps servers out, as during a restore (RestoreTarget). It
 * also holds the progress: one file that is replaced as a whole, so that a kill leaves either the old state or the new
 * one.
 *
 * Functions that return a string return an empty one, or an error message.
 */
class StandbyTarget {
public:
    /** Whether this is the content of the DB_CONFIG of a standby. */
    static bool isGuard(std::string_view config);

    explicit StandbyTarget(const std::filesystem::path& directory);

    /**
     * Creates the directory if it is missing, and locks it. It must be a standby, or empty, which starts a new one.
     * What an interrupted start left behind is removed.
     */
    [[nodiscard]] std::string open();
    /** The same, for an existing standby. */
    [[nodiscard]] std::string openExisting();

    const StandbyProgress& progress() const { return progress_; }
    /** Forces everything below the directory to disk, then replaces the progress. */
    [[nodiscard]] std::string note(const StandbyProgress& progress);

    /** Lets servers open the directory. */
    [[nodiscard]] std::string release();

    const std::filesystem::path& directory() const { return directory_; }
    std::filesystem::path logDirectory() const;
    std::filesystem::path applyDirectory() const;

private:
    [[nodiscard]] std::string lock();
    [[nodiscard]] std::string readProgress();
    [[nodiscard]] std::string clear();
    std::filesystem::path guard() const;

    const std::filesystem::path given_; // for messages
    const std::filesystem::path directory_;
    Base::DirectoryLock lock_;
    StandbyProgress progress_;
};

} // namespace Ctl

#endif
