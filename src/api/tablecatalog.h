#ifndef QUORVA_API_TABLECATALOG_H
#define QUORVA_API_TABLECATALOG_H

#include "api/error.h"
#include "api/operation.h"
#include "api/tabledescription.h"

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

namespace Api {

/**
 * The tables' descriptions, which are with the server; each is remembered for a moment. Any thread.
 *
 * A table is named in three ways: by its name alone, which is one in the default directory; by its real name,
 * DIRECTORY|TABLE; and by an ARN that ends with either.
 */
class TableCatalog {
public:
    /** Descriptions are read again after this time, as other programs may change them. */
    static constexpr std::chrono::milliseconds Memory{1000};

    TableCatalog(const Server* server, const Settings* settings) : server_(server), settings_(settings) {}

    /** The names of the table that a request names. */
    TableName resolve(std::string_view requested) const;

    /** Finds a table; it stays valid although the table may be changed or deleted. Fails with resourceNotFound(). */
    [[nodiscard]] Failure find(std::string_view requested, std::shared_ptr<const Table>* table);
    /** The same, but fails with tableNotFound(). */
    [[nodiscard]] Failure findNamed(std::string_view requested, std::shared_ptr<const Table>* table);

    /** Forgets what is remembered of a table, whose description turned out to be out of date. */
    void forget(const TableName& name);

    /** Makes a table. Fails with resourceInUse() when it exists. */
    [[nodiscard]] Failure create(const Table& table);
    /** Replaces the description of a table by one that `change` has made of it; `changed` is the result. */
    using Change = std::function<Failure(Table* table)>;
    [[nodiscard]] Failure update(std::string_view requested, const Change& change,
                                 std::shared_ptr<const Table>* changed);
    /** Removes a table with its items, unless it is protected; `removed` is its last description. */
    [[nodiscard]] Failure remove(std::string_view requested, std::shared_ptr<const Table>* removed);

private:
    struct Remembered {
        std::shared_ptr<const Table> table;
        std::chrono::system_clock::time_point since;
    };

    std::shared_ptr<const Table> remembered(const std::string& fullName, bool* isKnown) const;
    Failure read(const TableName& name, bool isKnown, std::shared_ptr<const Table>* table);
    Failure write(const Table& table);

    const Server* const server_;
    const Settings* const settings_;
    std::mutex changes_; // held while a table is made, changed or removed
    mutable std::mutex mutex_;
    std::map<std::string, Remembered, std::less<>> tables_; // guarded by mutex_: by real name
};

} // namespace Api

#endif
