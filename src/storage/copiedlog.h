#ifndef QUORVA_STORAGE_COPIEDLOG_H
#define QUORVA_STORAGE_COPIEDLOG_H

#include "format/backuplist.h"
#include "format/checksum.h"
#include "storage/logtail.h"

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <utility>

class BDBEnv;

/**
 * The log files of a copy in progress of an environment in use: how far they have been copied, and their checksums. One
 * thread.
 */
class CopiedLog {
public:
    /** Their sizes and checksums, by name. */
    using Files = std::map<std::string, BackupList::File>;

    /** `env` is not owned; the files go directly into `target`. */
    CopiedLog(BDBEnv* env, std::filesystem::path target) : env_(env), target_(std::move(target)) {}

    /** The copy begins with the log file of this number. */
    void begin(std::uint32_t first) { copied_ = summed_ = {first, 0}; }

    /**
     * Copies what was appended to the log since, syncs it to disk, and lists it. 0, an errno value or an error code.
     */
    [[nodiscard]] int catchUp(Files* files);

    /** How far the copied log reaches. */
    LogPosition end() const { return copied_; }

private:
    int listUpTo(LogPosition position, Files* files);

    BDBEnv* const env_;
    const std::filesystem::path target_;
    LogPosition copied_;
    LogPosition summed_; // how far `checksum_` reaches
    Checksum checksum_;  // of the log file that the copied log ends in
};

#endif
