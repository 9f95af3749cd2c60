#ifndef QUORVA_TOOLS_NEWDIRECTORIES_H
#define QUORVA_TOOLS_NEWDIRECTORIES_H

#include <filesystem>
#include <string>
#include <vector>

namespace Ctl {

/** Creates a directory, and can remove it again if the operation that needs it fails. */
class NewDirectories {
public:
    /**
     * Creates a directory and missing directories above it, unless it exists. Returns an empty string, or an error
     * message after removing what was created.
     */
    [[nodiscard]] std::string make(const std::filesystem::path& directory);

    /** Removes the directories that were created, unless they are not empty. */
    void removeEmpty();

private:
    std::vector<std::filesystem::path> made_; // outermost first
};

} // namespace Ctl

#endif
