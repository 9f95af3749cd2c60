#ifndef QUORVA_FORMAT_BACKUPLIST_H
#define QUORVA_FORMAT_BACKUPLIST_H

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

/**
 * The files of a full copy: the content of BackupNames::ListFile, which the server writes before it declares a copy
 * complete, and against which a restore checks the directory. Pure; any thread. On disk, do not change. Lines of text:
 *
 *     quorva-backup-list 1
 *     home /srv/shop
 *     first-log 41
 *     end-of-log 43 51234
 *     file 51234 995dc9bbdf1939fa log.0000000043
 *     file 40960 00f1c2a9b0d3e4f5 sub/orders_98.db
 *     end 2 1b2c3d4e5f607182
 *
 * `file` has size, checksum and name, one line per file, in byte order of the names; `end` has the number of files and
 * the checksum of all preceding lines. Checksums are those of Checksum, as 16 hexadecimal digits. Names are bytes, with
 * control characters and the percent sign escaped as a percent sign and two hexadecimal digits.
 *
 * The listed files do not change afterwards: later log files go to BackupNames::LogDirectory, which the list does not
 * cover.
 */
struct BackupList {
    struct File {
        std::uint64_t size = 0;
        std::uint64_t checksum = 0;
        bool operator==(const File&) const = default;
    };

    /** The directory that was copied, as a hint for the user: it may have been moved since. */
    std::string home;

    /** The first log file that recovery of the copy needs. */
    std::uint32_t firstLog = 0;

    /**
     * The end of the copied log: the number of its last file and that file's size in the copy. No other environment's
     * log file of this number begins with these bytes, so they identify the environment that was copied.
     */
    std::uint32_t lastLog = 0;
    std::uint32_t lastLogSize = 0;

    /** Databases and log files, by name relative to the backup directory. */
    std::map<std::string, File> files;

    bool operator==(const BackupList&) const = default;

    /** The text of the list; isFileName() must hold for all of its names. */
    std::string write() const;

    /**
     * Reads a list. Returns false if `text` is not exactly what write() wrote, with `list` unchanged and `error` set to
     * a phrase that continues the file's name.
     */
    [[nodiscard]] static bool read(std::string_view text, BackupList* list, std::string* error);

    /**
     * True for a name that a list can contain: relative, inside the directory; no empty part, ".", ".." or zero byte.
     */
    static bool isFileName(std::string_view name);
};

#endif
