#ifndef QUORVA_TOOLS_DIRECTORYCHECK_H
#define QUORVA_TOOLS_DIRECTORYCHECK_H

#include "base/directorylock.h"
#include "tools/scratchcopy.h"
#include "tools/tablefilecheck.h"

#include <cstddef>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace Ctl {

/**
 * Checks the content of an environment's directory that no server has open, and keeps servers out of it meanwhile. The
 * directory is not changed: its files are copied, and the log is applied to the copy, as a server would when it opens
 * the directory. Then every database file is verified, and every record is read.
 */
class DirectoryCheck {
public:
    using Progress = std::function<void(const char* step, std::size_t done, std::size_t all)>;

    /** `above`: the directory in which the copy is made. */
    DirectoryCheck(std::filesystem::path directory, std::filesystem::path above, TableFileCheck::Report report,
                   Progress progress);

    /**
     * Returns an empty string if everything could be checked, whatever was found; otherwise the reason. Ends early when
     * an Interruption is requested. Call once.
     */
    [[nodiscard]] std::string run();

    /** After run(): by the file part of their names. */
    const std::map<std::string, TableFileCheck::Table>& tables() const { return tables_; }

    /** After run(): the number of defects. */
    long long findings() const { return findings_; }

private:
    std::string lookAt();
    void findFiles(const std::filesystem::path& below);
    void find(const std::string& finding);
    void recover();
    void findMissing();

    const std::filesystem::path directory_;
    const std::filesystem::path above_;
    const TableFileCheck::Report report_;
    const Progress progress_;
    Base::DirectoryLock lock_;
    ScratchCopy copy_;
    std::vector<std::string> databases_; // names in the directory, like those of the log files
    std::vector<std::string> logs_;
    std::map<std::string, TableFileCheck::Table> tables_;
    long long findings_ = 0;
};

} // namespace Ctl

#endif
