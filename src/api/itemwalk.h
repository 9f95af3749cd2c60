#ifndef QUORVA_API_ITEMWALK_H
#define QUORVA_API_ITEMWALK_H

#include "api/error.h"
#include "api/itemstore.h"
#include "api/keyrange.h"
#include "api/server.h"
#include "items/attributevalue.h"

#include <rapidjson/document.h>

#include <cstddef>
#include <optional>
#include <string>

namespace Api {

/**
 * The items of a table one after the other: those of a range of keys, upward or downward, or all that a scan has from
 * some key on. It asks the server for pages of about a megabyte, and no further than it is read. For one thread.
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
    /** At most `most` items will be read, if that is known. The store outlives the walk. */
    ItemWalk(const ItemStore* store, KeyRange range, bool forward, std::optional<std::size_t> most);
    /** A scan of what follows `after`, or of everything. */
    ItemWalk(const ItemStore* store, std::optional<StoredKey> after, std::optional<std::size_t> most);
    ItemWalk(const ItemWalk&) = delete;
    ItemWalk& operator=(const ItemWalk&) = delete;

    /** Goes on to the next item, at first to the first one. */
    [[nodiscard]] Failure next();
    bool isAtEnd() const { return isAtEnd_; }
    /** The current item, with its keys; it may be moved from. */
    Items::Item& item() { return item_; }

private:
    Failure readPage();
    std::string pageRequest();
    Failure readKeys(const rapidjson::Value& record, StoredKey* key) const;
    void continueAfter(const StoredKey& key);
    int pageLimit() const;

    const ItemStore& store_;
    std::optional<KeyRange> range_; // what is left of it; none: a scan
    const bool isForward_ = true;
    std::optional<StoredKey> after_; // of a scan
    std::size_t left_;               // items that may still be read

    ServerReply page_;
    const rapidjson::Value* records_ = nullptr; // of the page
    rapidjson::SizeType index_ = 0;             // of the next of them
    bool isLastPage_ = false;
    std::size_t itemBytes_ = 0; // of an item in the last page, about
    bool isAtEnd_ = false;
    Items::Item item_;
};

} // namespace Api

#endif
