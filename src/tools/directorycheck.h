#ifndef QUORVA_TOOLS_DIRECTORYCHECK_H
#define QUORVA_TOOLS_DIRECTORYCHECK_H

#include "base/directorylock.h"
#include "tools/scratchcopy.h"

#include <cstddef>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

class Db;

namespace Ctl {

/**
 * Checks the content of an environment's directory that no server has open, and keeps servers out of it meanwhile. The
 * directory is not changed: its files are copied, and the log is applied to the copy, as a server would do that opens
 * the directory. Then every database file is verified, and every record read.
 */
class DirectoryCheck {
public:
    /** What a table holds. */
    struct Table {
        long long items = 0;
        int files = 0;
    };
    /** Called with each defect that is found, a line that begins with the name of a file. */
    using Report = std::function<void(const std::string& finding)>;
    using Progress = std::function<void(const char* step, std::size_t done, std::size_t all)>;

    /** `above`: where the copy is made. */
    DirectoryCheck(std::filesystem::path directory, std::filesystem::path above, Report report, Progress progress);

    /**
     * Returns an empty string if everything could be checked, whatever was found, or else why not. Ends early when an
     * Interruption is requested. Call once.
     */
    [[nodiscard]] std::string run();

    /** After run(): by the file part of their names. */
    const std::map<std::string, Table>& tables() const { return tables_; }

    /** After run(): the number of defects. */
    long long findings() const { return findings_; }

private:
    std::string lookAt();
    void findFiles(const std::filesystem::path& below);
    void find(const std::string& finding);
    void recover();
    void findMissing();
    void checkFile(const std::string& name);
    bool verify(const std::string& name);
    int readRecords(const std::string& name, const char* subDatabase);
    void checkDescription(const std::string& name, Db* db);
    void checkItems(const std::string& name, Db* db);
    void checkItem(const std::string& name, unsigned partition, const std::string& key, const std::string& text);

    const std::filesystem::path directory_;
    const std::filesystem::path above_;
    const Report report_;
    const Progress progress_;
    Base::DirectoryLock lock_;
    ScratchCopy copy_;
    std::vector<std::string> databases_; // names in the directory, like those of the log files
    std::vector<std::string> logs_;
    std::map<std::string, Table> tables_;
    std::map<std::string, bool> described_; // tables, and whether they have a description
    long long findings_ = 0;
};

} // namespace Ctl

#endif
