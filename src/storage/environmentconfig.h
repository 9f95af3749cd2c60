#ifndef QUORVA_STORAGE_ENVIRONMENTCONFIG_H
#define QUORVA_STORAGE_ENVIRONMENTCONFIG_H

#include <filesystem>
#include <string>
#include <vector>

/**
 * The part of an environment's DB_CONFIG that says where its files are, and the server's own settings in it (see
 * format/serversettings.h). It is read here before Berkeley DB reads it, which does not handle untrusted files: it
 * blocks on a FIFO without a writer, reads a device forever, terminates the process on some lines without a value, and
 * splits long lines.
 */
struct EnvironmentConfig {
    /** Where the log files are. */
    std::filesystem::path logDirectory;

    /** The search order for database files. Never empty. */
    std::vector<std::filesystem::path> dataDirectories;

    /** Where database files are created. */
    std::filesystem::path createDirectory;

    /** The server's own settings of these names are "on". */
    bool removesUnneededLogs = false;
    bool preparesLogFiles = false;

    /** Describes a bad line, for the log; empty for any other failure. */
    std::string complaint;

    /**
     * Reads the DB_CONFIG in `home`; without one, all files are in `home`. Never blocks. 0; EINVAL when Berkeley DB
     * must not see the file: it is not a regular file or a link to one, is longer than 64 KiB, or contains control
     * characters, a line of more than 254 bytes or one without a value, or marks a line as the server's own that is
     * none; another errno value. After a failure all directories are `home`. Any thread.
     */
    [[nodiscard]] static int read(const std::filesystem::path& home, EnvironmentConfig* config);
};

#endif
