#ifndef QUORVA_FORMAT_BACKUPLIST_H
#define QUORVA_FORMAT_BACKUPLIST_H

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

/**
 * What a full copy consists of: the content of BackupNames::ListFile, which the server writes before it declares a copy
 * complete and a restore compares the directory with. Pure; any thread. On disk, do not change. Lines of text:
 *
 *     quorva-backup-list 1
 *     home /srv/shop
 *     first-log 41
 *     end-of-log 43 51234
 *     file 51234 995dc9bbdf1939fa log.0000000043
 *     file 40960 00f1c2a9b0d3e4f5 sub/orders_98.db
 *     end 2 1b2c3d4e5f607182
 *
 * `file` has size, checksum and name, one line for each file, in the byte order of the names; `end` has their number
 * and the checksum of all lines before it. Checksums are those of Checksum, as 16 hexadecimal digits. Names are bytes,
 * in which control characters and the percent sign are a percent sign and two hexadecimal digits.
 *
 * The files that it names stay as they are: later log files go to BackupNames::LogDirectory, which it does not cover.
 */
struct BackupList {
    struct File {
        std::uint64_t size = 0;
        std::uint64_t checksum = 0;
        bool operator==(const File&) const = default;
    };

    /** The directory that was copied, as a hint for people: it may have been moved since. */
    std::string home;

    /** The first log file that recovery of the copy needs. */
    std::uint32_t firstLog = 0;

    /**
     * How far the copied log reaches: the number of its last file and the size of that in the copy. No other
     * environment's log file of this number begins with these bytes, so they tell whose copy it is.
     */
    std::uint32_t lastLog = 0;
    std::uint32_t lastLogSize = 0;

    /** Databases and log files, by the name relative to the backup directory. */
    std::map<std::string, File> files;

    bool operator==(const BackupList&) const = default;

    /** The text of the list; all of its names have to be isFileName(). */
    std::string write() const;

    /**
     * Reads a list. False when `text` is not exactly what write() wrote, with `error` set to what is wrong in words
     * that follow the name of the file, and `list` unchanged.
     */
    [[nodiscard]] static bool read(std::string_view text, BackupList* list, std::string* error);

    /** True for a name that a list can hold: relative, and leading nowhere else; no empty part, ".", ".." or zero byte.
     */
    static bool isFileName(std::string_view name);
};

#endif
