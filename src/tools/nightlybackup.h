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
    std::size_t keep = 7; // copies, the new one included
    bool verify = true;
    bool replace = false; // a backup to another directory
    int stallSeconds = 60;
};

/**
 * One run of "backup nightly" for one environment: adds a dated copy to a series, verifies it, and only then removes
 * old ones. The server ships log files to the new copy from then on. Whatever goes wrong, or interrupts the run, the
 * copies that are there stay, and log files go on being shipped to the latest one if the server can.
 *
 * Functions return an exit code; errors have been reported.
 */
class NightlyBackup {
public:
    /** `directory` is that of the environment, and `series` that of its copies, which may be missing; both absolute. */
    NightlyBackup(ServerAddress server, const std::filesystem::path& directory, std::filesystem::path series,
                  const NightlyOptions& options);

    /** Makes a copy, and prints a line about it. */
    [[nodiscard]] int run();

    /** Has the server ship log files to the newest copy again, unless it does already. */
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
    const std::string table_; // one that need not exist: requests name a directory by a table in it
    const std::filesystem::path series_;
    const NightlyOptions options_;
    const std::string failed_; // how messages begin
    BackupSeries::Copies copies_;
};

} // namespace Ctl

#endif
