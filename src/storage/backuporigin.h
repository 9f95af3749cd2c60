#ifndef QUORVA_STORAGE_BACKUPORIGIN_H
#define QUORVA_STORAGE_BACKUPORIGIN_H

#include "format/backuplist.h"
#include "storage/databasefiles.h"

#include <filesystem>
#include <utility>

class BDBEnv;

/**
 * Decides whether the content of a backup directory comes from an environment and is unmodified since, by the log files
 * and database identities that both have. Read-only. Results are 0, an errno value or a Berkeley DB code. Any thread,
 * provided nobody else writes to the directory.
 */
class BackupOrigin {
public:
    /** `list` is that of the copy in `directory`, empty if there is no copy. Neither `env` nor `list` is owned. */
    BackupOrigin(BDBEnv* env, std::filesystem::path directory, const BackupList* list)
        : env_(env), path_(std::move(directory)), earlier_(*list)
    {}

    /**
     * `*same`: the copy is an earlier state of this environment, whose databases are `databases`, with its log files.
     */
    [[nodiscard]] int ofCopy(const DatabaseFiles::ByName& databases, bool unfinished, bool* same) const;

    /** `*continues`: the environment's log continues what is there, a finished copy or shipped log files alone. */
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
