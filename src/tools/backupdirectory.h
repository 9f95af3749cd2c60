#ifndef QUORVA_TOOLS_BACKUPDIRECTORY_H
#define QUORVA_TOOLS_BACKUPDIRECTORY_H

#include <string>

namespace CLI {
class App;
}

namespace Ctl {

/** The argument DIR: the directory that a backup goes to. */
struct BackupDirectory {
    std::string word; // as it was given
    std::string path; // absolute; set by resolve()

    void declare(CLI::App* command);
    /** The server has a working directory of its own, so it is told whole paths. An exit code. */
    [[nodiscard]] int resolve();
};

} // namespace Ctl

#endif
