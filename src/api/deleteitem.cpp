#include "api/itemio.h"
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
        if (Failure failure = write_.read(Expressions::RequestKind::Delete, request))
            return failure;
        return readItem(*member(request, "Key"), &keyAttributes_);
    }

    Failure prepare(const Items::JsonValue& request, std::shared_ptr<const Table> table) override
    {
        table_ = std::move(table);
        if (Failure failure = ItemKeys::ofKey(*table_, keyAttributes_, &key_))
            return failure;
        if (write_.isPlain())
            call_ = {::Operations::DeleteItem, ItemRequests::byKey(*table_, key_, ItemWrite::returnedFor(request))};
        return std::nullopt;
    }

    Failure carryOut(const ItemStore& store) override
    {
        return write_.carryOut(store, key_, ItemStore::FirstGuess::Read, {ItemChange::Action::Delete, {}});
    }

    Failure finish(const Items::JsonValue& request, const ItemStore& store, const ServerReply& reply,
                   JsonWriter* writer) override
    {
        if (call_)
            write_.measureOld(request, store, reply, key_);
        write_.writeReply(request, *table_, write_.oldBytes(), writer);
        return std::nullopt;
    }

private:
    ItemWrite write_;
    Items::Item keyAttributes_;
};

} // namespace

std::unique_ptr<ItemSteps> deleteItemSteps()
{
    return std::make_unique<DeleteItemSteps>();
}

} // namespace Api
