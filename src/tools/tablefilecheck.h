#ifndef QUORVA_TOOLS_TABLEFILECHECK_H
#define QUORVA_TOOLS_TABLEFILECHECK_H

#include <filesystem>
#include <functional>
#include <map>
#include <string>

class Db;

namespace Ctl {

/**
 * Checks database files in a directory that nothing else uses: each with Berkeley DB's verification, and then every
 * record in it. Ends early when an Interruption is requested.
 */
class TableFileCheck {
public:
    /** What a table contains. */
    struct Table {
        long long items = 0;
        int files = 0;
        bool isDescribed = false; // it has a description, if not a usable one
    };
    /** Called with each defect that is found, a line that begins with the name of a file. */
    using Report = std::function<void(const std::string& finding)>;

    /** Whether a file with this name contains items; the others contain a table's description. */
    static bool isDataFile(const std::string& name);

    TableFileCheck(std::filesystem::path directory, Report report)
        : directory_(std::move(directory)), report_(std::move(report))
    {}

    /** Checks the file with this name in the directory, if it exists. */
    void check(const std::string& name);

    /** The tables of the files checked so far, by the file part of their names. */
    const std::map<std::string, Table>& tables() const { return tables_; }

private:
    bool verify(const std::string& name) const;
    int readRecords(const std::string& name, const char* subDatabase);
    void checkDescription(const std::string& name, Db* db);
    void checkItems(const std::string& name, Db* db);
    void checkItem(const std::string& name, unsigned partition, const std::string& key, const std::string& text) const;

    const std::filesystem::path directory_;
    const Report report_;
    std::map<std::string, Table> tables_;
};

} // namespace Ctl

#endif
