#ifndef QUORVA_TOOLS_NIGHTLYBACKUP_H
#define QUORVA_TOOLS_NIGHTLYBACKUP_H

#include "tools/backupseries.h"
#include "tools/serveraddress.h"

#include <cstddef>
#include <filesystem>
#include <string>

namespace Ctl {

class CopyTarget;
class Session;

struct NightlyOptions {
    std::size_t keep = 7; // copies, including the new one
    bool verify = true;
    bool replace = false; // a backup to another directory
    int stallSeconds = 60;
};

/**
 * One run of "backup nightly" for one environment: adds a dated copy to a series, verifies it, and only then removes
 * old ones. The server ships log files to the new copy from then on. Whatever fails or interrupts the run, existing
 * copies are kept, and log files continue to be shipped to the latest one if the server can.
 *
 * Functions return an exit code; errors have been reported.
 */
class NightlyBackup {
public:
    /** `directory` is the environment's, and `series` that of its copies, which may be missing; both are absolute. */
    NightlyBackup(ServerAddress server, const std::filesystem::path& directory, std::filesystem::path series,
                  const NightlyOptions& options);

    /** Makes a copy, and prints a line about it. */
    [[nodiscard]] int run();

    /** Has the server resume shipping log files to the newest copy, unless it already does. */
    [[nodiscard]] int resume();

private:
    int readSeries();
    int checkRunning(Session* session);
    std::filesystem::path nextCopy() const;
    int makeCopy(Session* session, const std::filesystem::path& copy);
    void takeBack(Session* session, const std::filesystem::path& copy, CopyTarget* target);
    int verify(const std::filesystem::path& copy, std::string* held);
    std::filesystem::path newestCopy() const;

    const ServerAddress server_;
    const std::string directory_;
    const std::string table_; // need not exist: requests name a directory by a table in it
    const std::filesystem::path series_;
    const NightlyOptions options_;
    const std::string failed_; // the beginning of messages
    BackupSeries::Copies copies_;
};

} // namespace Ctl

#endif
