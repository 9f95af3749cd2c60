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
 * The descriptions of tables, which the server stores; each is cached for a moment. Any thread.
 *
 * Requests name a table in three ways: by a plain name, for a table in the default directory; by its real name,
 * DIRECTORY|TABLE; or by an ARN that ends with either.
 */
class TableCatalog {
public:
    /** How long descriptions are cached: other programs may change them. */
    static constexpr std::chrono::milliseconds Memory{1000};
    /** How many are cached at most: requests can spell a table's directory in any number of ways. */
    static constexpr std::size_t MostCached = 1024;

    TableCatalog(const Server* server, const Settings* settings) : server_(server), settings_(settings) {}

    /** The names of a table that a request names in any of these ways. */
    TableName resolve(std::string_view requested) const;

    /** Finds a table. The result stays valid even if the table is changed or deleted. Fails with resourceNotFound(). */
    [[nodiscard]] Failure find(std::string_view requested, std::shared_ptr<const Table>* table);
    /** The same without asking the server; null if the cache has no description that is recent enough. */
    std::shared_ptr<const Table> findCached(std::string_view requested) const;
    /** The same as find(), but fails with tableNotFound(). */
    [[nodiscard]] Failure findNamed(std::string_view requested, std::shared_ptr<const Table>* table);

    /** Drops a table from the cache, as its description turned out to be out of date. */
    void forget(const TableName& name);

    /** Creates a table. Fails with resourceInUse() if it exists. */
    [[nodiscard]] Failure create(const Table& table);
    /** Has `change` change the description of a table, and stores it; `changed` is the result. */
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
    void remember(const TableName& name, const Remembered& table, std::uint64_t drops);
    std::uint64_t drops() const;
    Failure write(const Table& table);

    const Server* const server_;
    const Settings* const settings_;
    std::mutex changes_; // held while a table is created, changed or removed
    mutable std::mutex mutex_;
    std::map<std::string, Remembered, std::less<>> tables_; // guarded by mutex_; by real name
    std::uint64_t drops_ = 0;                               // guarded by mutex_; calls of forget()
};

} // namespace Api

#endif
