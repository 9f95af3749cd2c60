#ifndef QUORVA_API_ITEMWRITE_H
#define QUORVA_API_ITEMWRITE_H

#include "api/error.h"
#include "api/itemrequests.h"
#include "api/itemstore.h"
#include "api/replyjson.h"
#include "api/tabledescription.h"
#include "api/writecondition.h"
#include "expressions/parameters.h"
#include "items/attributevalue.h"
#include "items/json.h"

#include <cstddef>
#include <optional>

namespace Api {

/** A PutItem or DeleteItem: a write under a condition, which returns at most the old item. For one request. */
class ItemWrite {
public:
    /** Reads the condition and "ReturnValues"; before anything else. */
    [[nodiscard]] Failure read(Expressions::RequestKind kind, const Items::JsonValue& request);

    /** True if the existing item does not matter, so that it need not be read. */
    bool isPlain() const { return condition_->isEmpty() && !returnsOld_; }

    /** Makes the change if the condition holds. Deleting an item that does not exist changes nothing. */
    [[nodiscard]] Failure carryOut(const ItemStore& store, const StoredKey& key, ItemStore::FirstGuess guess,
                                   const ItemChange& change);

    /** What a plain write asks the server for: the old item, if the request wants a figure that depends on its size. */
    static ItemRequests::Returned returnedFor(const Items::JsonValue& request);

    /** Takes that size from the server's reply to a plain write. */
    void measureOld(const Items::JsonValue& request, const ItemStore& store, const ServerReply& reply,
                    const StoredKey& key);

    /** The size of the old item as the API counts it; 0 if there was none, or if nothing depends on it. */
    std::size_t oldBytes() const;

    /** Writes the reply. `bytes`: the size of what was written, as the API counts it. */
    void writeReply(const Items::JsonValue& request, const Table& table, std::size_t bytes, JsonWriter* reply) const;

private:
    std::optional<WriteCondition> condition_;
    bool returnsOld_ = false;
    std::optional<Items::Item> old_;
    std::size_t measuredBytes_ = 0; // of the old item of a plain write
};

/** Writes the reply to a write of one item: the attributes that it returns, if any, and its capacity. */
void writeItemReply(const Items::JsonValue& request, const Table& table, const Items::Item* returned, std::size_t bytes,
                    JsonWriter* reply);

} // namespace Api

#endif
