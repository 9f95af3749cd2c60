#include "api/itemrequests.h"
#include "api/itemsteps.h"
#include "api/itemwrite.h"
#include "api/members.h"
#include "api/storedkeys.h"

#include <utility>

namespace Api {

namespace {

class DeleteItemSteps : public ItemSteps {
public:
    Failure read(const Items::JsonValue& request) override
    {
        return write_.read(Expressions::RequestKind::Delete, request);
    }

    Failure prepare(const Items::JsonValue& request, std::shared_ptr<const Table> table) override
    {
        table_ = std::move(table);
        if (Failure failure = ItemKeys::read(*table_, *member(request, "Key"), &key_))
            return failure;
        if (write_.isPlain())
            call_ = {::Operations::DeleteItem, ItemRequests::byKey(*table_, key_)};
        return std::nullopt;
    }

    Failure carryOut(const ItemStore& store) override
    {
        return write_.carryOut(store, key_, ItemStore::FirstGuess::Read, {ItemChange::Action::Delete, {}});
    }

    Failure finish(const Items::JsonValue& request, const ItemStore&, const ServerReply&, JsonWriter* writer) override
    {
        write_.writeReply(request, *table_, write_.oldBytes(), writer);
        return std::nullopt;
    }

private:
    ItemWrite write_;
};

} // namespace

std::unique_ptr<ItemSteps> deleteItemSteps()
{
    return std::make_unique<DeleteItemSteps>();
}

} // namespace Api
