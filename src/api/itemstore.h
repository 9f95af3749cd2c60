#ifndef QUORVA_API_ITEMSTORE_H
#define QUORVA_API_ITEMSTORE_H

#include "api/error.h"
#include "api/keyrange.h"
#include "api/operation.h"
#include "api/server.h"
#include "api/tabledescription.h"
#include "items/attributevalue.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace Api {

/** What is to be done with an item. */
struct ItemChange {
    enum class Action { Keep, Put, Delete };
    Action action = Action::Keep;
    Items::Item item; // with Put, with its key attributes
};

/**
 * The items of one table, which the server has. Items have their key attributes here. Each call of these waits for one
 * exchange with the server, or more of them where it says so. For one thread at a time; cheap to make.
 */
class ItemStore {
public:
    /** The context outlives the object. */
    ItemStore(const Context& context, std::shared_ptr<const Table> table);

    const Table& table() const { return *table_; }

    [[nodiscard]] Failure get(const StoredKey& key, std::optional<Items::Item>* item) const;
    [[nodiscard]] Failure put(const StoredKey& key, const Items::Item& item) const;
    [[nodiscard]] Failure remove(const StoredKey& key) const;

    /** Computes a change from the item as it is, null for none; it may be called again. A failure is the result. */
    using Compute = std::function<Failure(const Items::Item* before, ItemChange* change)>;
    /** What change() computes from at first: the item as it is read, or none, which saves the read if it is right. */
    enum class FirstGuess { Read, NoItem };

    /**
     * Computes a change of an item and commits it, again and again until nobody came between. After some seconds fails
     * with transactionConflict().
     */
    [[nodiscard]] Failure change(const StoredKey& key, FirstGuess guess, const Compute& compute) const;

    /** Sends any request on the table. Fails with every error of the server, except a condition that does not hold. */
    [[nodiscard]] Failure send(const ::Operations::Operation& operation, const std::string& body,
                               ServerReply* reply) const;

    Failure unreadable(const StoredKey& key, const std::string& why) const;
    /** The item that the server has under a key: `stored` is its JSON object, with or without key attributes. */
    [[nodiscard]] Failure read(const rapidjson::Value& stored, const StoredKey& key, Items::Item* item) const;

private:
    struct Snapshot;

    Failure snapshot(const StoredKey& key, Snapshot* found) const;
    Failure snapshotOf(const rapidjson::Value* stored, const StoredKey& key, Snapshot* found) const;
    Failure commit(const StoredKey& key, const Snapshot& before, const ItemChange& change, ServerReply* reply) const;
    Failure changeGuarded(const StoredKey& key, FirstGuess guess, const Compute& compute, class BackOff* backOff) const;

    const Server& server_;
    TableCatalog& tables_;
    const std::shared_ptr<const Table> table_;
};

} // namespace Api

#endif
