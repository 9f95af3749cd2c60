#ifndef QUORVA_STORAGE_ENVIRONMENTCONFIG_H
#define QUORVA_STORAGE_ENVIRONMENTCONFIG_H

#include <filesystem>
#include <string>
#include <vector>

/**
 * The DB_CONFIG of an environment, as far as it says where the environment has its files. It is read before Berkeley DB
 * reads it, which is not careful enough with a file that anybody may have put there: it waits for the writer of a FIFO,
 * reads a device for ever, ends the process at some lines without a value, and cuts long lines in two.
 */
struct EnvironmentConfig {
    /** Where the log files are. */
    std::filesystem::path logDirectory;

    /** Where database files are looked for, in this order. Never empty. */
    std::vector<std::filesystem::path> dataDirectories;

    /** Where database files are created. */
    std::filesystem::path createDirectory;

    /** What is wrong with a line, for the log; empty when it is not a line. */
    std::string complaint;

    /**
     * Reads the DB_CONFIG in `home`; an environment without one has all its files there. Never waits. 0; EINVAL when
     * Berkeley DB must not see the file: it is not a regular file or a link to one, is longer than 64 KiB, holds
     * control characters, a line of more than 254 bytes or one without a value; another errno value. After a failure
     * all directories are `home`. Any thread.
     */
    [[nodiscard]] static int read(const std::filesystem::path& home, EnvironmentConfig* config);
};

#endif
