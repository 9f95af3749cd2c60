#ifndef QUORVA_API_ITEMREQUESTS_H
#define QUORVA_API_ITEMREQUESTS_H

#include "api/keyrange.h"
#include "api/replyjson.h"
#include "api/tabledescription.h"
#include "items/attributevalue.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/** The bodies of the server's requests on items, and parts of them. Pure; any thread. */
namespace Api::ItemRequests {

/** What the reply to a put or delete has in "Attributes". */
enum class Returned { Default, OldItem };

/** The body of a GetItem or DeleteItem. */
std::string byKey(const Table& table, const StoredKey& key, Returned returned = Returned::Default);

/** The body of a PutItem. `item` has its key attributes. Empty if the server could not give the item back. */
std::optional<std::string> put(const Table& table, const StoredKey& key, const Items::Item& item,
                               Returned returned = Returned::Default);

/** The JSON of an item without its key attributes, as it is stored. Empty if the server could not give it back. */
std::optional<std::string> storedText(const Table& table, const Items::Item& item);

/** What a Commit does to an item, provided that the item is as expected. */
struct Entry {
    const Table* table = nullptr;
    const StoredKey* key = nullptr;
    std::optional<std::string> expected; // the JSON of the item as it was read; none: the item must not exist
    std::optional<std::string> put;      // from storedText(); none: the item is deleted
};
std::string commit(const std::vector<Entry>& entries);

/** The body of a Query; an empty condition is none. */
std::string query(const Table& table, const KeyRange& range, bool forward, int limit);

/** The body of a Scan of what follows `after`, or of everything. */
std::string scan(const Table& table, const std::optional<StoredKey>& after, int limit);

/** An element of a BatchWriteItem: a put, as in put(), or a delete. */
[[nodiscard]] bool writePut(const Table& table, const StoredKey& key, const Items::Item& item, JsonWriter* writer);
void writeDelete(const StoredKey& key, JsonWriter* writer);

} // namespace Api::ItemRequests

#endif
