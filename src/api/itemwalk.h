#ifndef QUORVA_API_ITEMWALK_H
#define QUORVA_API_ITEMWALK_H

#include "api/error.h"
#include "api/itemstore.h"
#include "api/keyrange.h"
#include "api/server.h"
#include "items/attributevalue.h"
#include "items/json.h"

#include <cstddef>
#include <optional>
#include <string>

namespace Api {

/**
 * The items of a table, one after another: those in a range of keys, upward or downward, or those of a scan from some
 * key on. It requests pages of about a megabyte from the server, each only when it is needed. For one thread.
 *
 *     ItemWalk walk(&store, range, true, most);
 *     for (;;) {
 *         if (Failure failure = walk.next())
 *             return failure;
 *         if (walk.isAtEnd())
 *             break;
 *         use(walk.item());
 *     }
 */
class ItemWalk {
public:
    /** `most`: how many items will be read at most, if that is known. The store must outlive the walk. */
    ItemWalk(const ItemStore* store, KeyRange range, bool forward, std::optional<std::size_t> most);
    /** A scan of what follows `after`, or of everything. */
    ItemWalk(const ItemStore* store, std::optional<StoredKey> after, std::optional<std::size_t> most);
    ItemWalk(const ItemWalk&) = delete;
    ItemWalk& operator=(const ItemWalk&) = delete;

    /** Moves to the next item; the first call, to the first one. */
    [[nodiscard]] Failure next();
    bool isAtEnd() const { return isAtEnd_; }
    /** The current item, with its keys; it may be moved from. */
    Items::Item& item() { return item_; }

private:
    Failure readPage();
    std::string pageRequest();
    Failure readKeys(const Items::JsonValue& record, StoredKey* key) const;
    void continueAfter(const StoredKey& key);
    int pageLimit() const;

    const ItemStore& store_;
    std::optional<KeyRange> range_; // what is left of it; none: a scan
    const bool isForward_ = true;
    std::optional<StoredKey> after_; // of a scan
    std::size_t left_;               // items that may still be read

    ServerReply page_;
    const Items::JsonValue* records_ = nullptr; // of the page
    rapidjson::SizeType index_ = 0;             // of the next of them
    bool isLastPage_ = false;
    std::size_t itemBytes_ = 0; // the average in the last page
    bool isAtEnd_ = false;
    Items::Item item_;
};

} // namespace Api

#endif
