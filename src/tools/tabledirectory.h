#ifndef QUORVA_TOOLS_TABLEDIRECTORY_H
#define QUORVA_TOOLS_TABLEDIRECTORY_H

#include "base/directorylock.h"
#include "tools/directorysettings.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace Ctl {

/**
 * Creates a directory for tables, or adds settings to one. Functions return an empty string or an error message.
 *
 * The directory gets the same mode as the files that a server creates in it: no access for others.
 */
class TableDirectory {
public:
    /** `directory`: as it was given, for messages. */
    explicit TableDirectory(const std::string& directory);

    /** Checks whether it can contain tables, and reads its settings. Changes nothing. `advice`: what to try.
     */
    [[nodiscard]] std::string look(std::optional<std::uint64_t> cacheBytes, std::string* advice);

    /** Whether it already has all settings, so that nothing has to be written. */
    bool isReady() const { return exists_ && settings_.isSame(); }

    /** Whether it does not exist, or is as empty as a new file system. */
    bool isEmpty() const { return isEmpty_; }

    /** Whether a server would find an environment's files or settings in it. */
    bool isEnvironment() const { return isEnvironment_; }

    /** What make() would write. */
    const DirectorySettings::Merged& settings() const { return settings_; }

    /** The settings' file. */
    std::string configPath() const;

    /** Creates the directory and those above it, unless they exist, and writes the settings. Forced to disk. */
    [[nodiscard]] std::string make();

private:
    std::string checkName(std::string* advice) const;
    std::string lookInside(std::string* config, std::string* advice);
    std::string lookAbove(std::string* advice) const;
    std::string readConfig(std::string* text) const;
    std::string makeDirectories();
    std::string writeConfig();

    const std::string given_;
    const std::filesystem::path path_;
    bool exists_ = false;
    bool isEmpty_ = true;
    bool isEnvironment_ = false;
    DirectorySettings::Merged settings_;
    std::vector<std::filesystem::path> made_; // the outermost first
    Base::DirectoryLock lock_;                // keeps servers out while the settings are written
};

} // namespace Ctl

#endif
