#ifndef QUORVA_STORAGE_BACKUPORIGIN_H
#define QUORVA_STORAGE_BACKUPORIGIN_H

#include "format/backuplist.h"
#include "storage/databasefiles.h"

#include <filesystem>
#include <utility>

class BDBEnv;

/**
 * Whether what a backup directory holds comes from an environment and nobody has touched it since: seen by the log
 * files and the identities of the databases that both have. Reads only. Results are 0, an errno value or a code of
 * Berkeley DB; any thread, as long as nobody else writes to the directory.
 */
class BackupOrigin {
public:
    /** `list` is what the copy in `directory` has, empty without one. Neither `env` nor `list` is owned. */
    BackupOrigin(BDBEnv* env, std::filesystem::path directory, const BackupList* list)
        : env_(env), path_(std::move(directory)), earlier_(*list)
    {}

    /** `*same`: the copy is of this environment, which `databases` are of, in an earlier state, with its log files. */
    [[nodiscard]] int ofCopy(const DatabaseFiles::ByName& databases, bool unfinished, bool* same) const;

    /** `*continues`: the environment's log files come after what is there, a finished copy or shipped log files alone.
     */
    [[nodiscard]] int ofShipping(bool finished, bool* continues) const;

private:
    int isUnfinishedCopy(bool* untouched) const;
    bool isAsItWasLeft() const;
    int isOfThisEnvironment(const DatabaseFiles::ByName& databases, bool unfinished, bool* same) const;
    int continuesCopy(bool* continues) const;
    int continuesShippedLogs(bool* continues) const;
    int agreesWithShippedLogs(bool* agrees) const;

    BDBEnv* const env_;
    const std::filesystem::path path_;
    const BackupList& earlier_;
};

#endif
