#ifndef QUORVA_API_ITEMSTORE_H
#define QUORVA_API_ITEMSTORE_H

#include "api/error.h"
#include "api/keyrange.h"
#include "api/operation.h"
#include "api/server.h"
#include "api/tabledescription.h"
#include "items/attributevalue.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace Api {

/** What to do with an item. */
struct ItemChange {
    enum class Action { Keep, Put, Delete };
    Action action = Action::Keep;
    Items::Item item; // for Put, including its key attributes
};

/**
 * The items of one table, on the server. Items include their key attributes here. Each call waits for one exchange with
 * the server, or for several where it says so. For one thread at a time; cheap to create.
 */
class ItemStore {
public:
    /** The context must outlive the object. */
    ItemStore(const Context& context, std::shared_ptr<const Table> table);

    const Table& table() const { return *table_; }

    [[nodiscard]] Failure get(const StoredKey& key, std::optional<Items::Item>* item) const;

    /** The failure of a put of an item that the server could not give back. */
    static Error tooLarge();

    /** Computes a change from the item as it is, null if there is none. May be called again. A failure is the final
     * result. */
    using Compute = std::function<Failure(const Items::Item* before, ItemChange* change)>;
    /** What change() first computes from: the item, which it reads; or no item, which saves the read if that is right.
     */
    enum class FirstGuess { Read, NoItem };

    /**
     * Computes a change of an item and commits it; starts over if the item has been changed meanwhile. Fails with
     * transactionConflict() after some seconds of that.
     */
    [[nodiscard]] Failure change(const StoredKey& key, FirstGuess guess, const Compute& compute) const;

    /** Sends any request on the table. Fails for every error of the server except a condition that does not hold. */
    [[nodiscard]] Failure send(const ::Operations::Operation& operation, const std::string& body,
                               ServerReply* reply) const;

    /**
     * Goes on after the first reply to a request: with a success or a condition that does not hold there is nothing to
     * do, without a wait. Otherwise as send(), of which this is the latter half.
     */
    [[nodiscard]] Failure settle(const ::Operations::Operation& operation, const std::string& body,
                                 ServerReply* reply) const;

    /** Reads the reply to a GetItem that was a success. */
    [[nodiscard]] Failure readReply(const ServerReply& reply, const StoredKey& key,
                                    std::optional<Items::Item>* item) const;

    /**
     * The size of the old item in the reply to a put or delete that returns it. 0 if there was none or this API cannot
     * read it, and also if it had no attributes but its keys, since the reply does not tell.
     */
    std::size_t sizeOfOld(const ServerReply& reply, const StoredKey& key) const;

    /** Makes an item of what the server has under a key: a JSON object, with or without the key attributes. */
    [[nodiscard]] Failure read(const Items::JsonValue& stored, const StoredKey& key, Items::Item* item) const;

private:
    struct Snapshot;

    bool isGone() const;
    Failure snapshot(const StoredKey& key, Snapshot* found) const;
    Failure unreadable(const StoredKey& key, const std::string& why) const;
    Failure snapshotOf(const Items::JsonValue* stored, const StoredKey& key, Snapshot* found) const;
    Failure commit(const StoredKey& key, const Snapshot& before, const ItemChange& change, ServerReply* reply) const;
    Failure changeGuarded(const StoredKey& key, FirstGuess guess, const Compute& compute, class BackOff* backOff) const;

    const Server& server_;
    TableCatalog& tables_;
    const std::shared_ptr<const Table> table_;
};

} // namespace Api

#endif
