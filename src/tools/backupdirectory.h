#ifndef QUORVA_TOOLS_BACKUPDIRECTORY_H
#define QUORVA_TOOLS_BACKUPDIRECTORY_H

#include <string>

namespace CLI {
class App;
}

namespace Ctl {

/** The argument DIR: the target directory of a backup. */
struct BackupDirectory {
    std::string word; // as given on the command line
    std::string path; // absolute; set by resolve()

    void declare(CLI::App* command);
    /** Makes the path absolute, as the server has a working directory of its own. Returns an exit code. */
    [[nodiscard]] int resolve();
};

} // namespace Ctl

#endif
