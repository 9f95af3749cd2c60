#include "api/itemio.h"
#include "api/itemrequests.h"
#include "api/itemsteps.h"
#include "api/itemwrite.h"
#include "api/members.h"
#include "api/storedkeys.h"
#include "items/itemsize.h"

#include <algorithm>
#include <utility>

namespace Api {

namespace {

class PutItemSteps : public ItemSteps {
public:
    Failure read(const Items::JsonValue& request) override
    {
        if (Failure failure = write_.read(Expressions::RequestKind::Put, request))
            return failure;
        if (Failure failure = readItem(*member(request, "Item"), &item_))
            return failure;
        bytes_ = Items::sizeOfItem(item_);
        return bytes_ > Items::MostItemBytes ? ItemStore::tooLarge() : Failure();
    }

    Failure prepare(const Items::JsonValue& request, std::shared_ptr<const Table> table) override
    {
        table_ = std::move(table);
        if (Failure failure = ItemKeys::ofItem(*table_, item_, &key_))
            return failure;
        if (!write_.isPlain())
            return std::nullopt;
        std::optional<std::string> body = ItemRequests::put(*table_, key_, item_, ItemWrite::returnedFor(request));
        if (!body)
            return ItemStore::tooLarge();
        call_ = {::Operations::PutItem, std::move(*body)};
        return std::nullopt;
    }

    Failure carryOut(const ItemStore& store) override
    {
        return write_.carryOut(store, key_, ItemStore::FirstGuess::NoItem, {ItemChange::Action::Put, std::move(item_)});
    }

    Failure finish(const Items::JsonValue& request, const ItemStore& store, const ServerReply& reply,
                   JsonWriter* writer) override
    {
        if (call_)
            write_.measureOld(request, store, reply, key_);
        write_.writeReply(request, *table_, std::max(bytes_, write_.oldBytes()), writer);
        return std::nullopt;
    }

private:
    ItemWrite write_;
    Items::Item item_;
    std::size_t bytes_ = 0; // of the item, as the API counts them
};

} // namespace

std::unique_ptr<ItemSteps> putItemSteps()
{
    return std::make_unique<PutItemSteps>();
}

} // namespace Api
