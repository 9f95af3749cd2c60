#include "api/itemwrite.h"

#include "api/capacity.h"
#include "api/itemio.h"
#include "api/returnvalues.h"
#include "items/itemjson.h"
#include "items/itemsize.h"

#include <utility>

namespace Api {

Failure ItemWrite::read(Expressions::RequestKind kind, const Items::JsonValue& request)
{
    Expressions::Parameters parameters;
    if (Failure failure = readParameters(kind, request, &parameters))
        return failure;
    ReturnValues returned = ReturnValues::None;
    if (Failure failure = readOldOrNone(request, &returned))
        return failure;
    condition_.emplace(std::move(parameters), request);
    returnsOld_ = returned == ReturnValues::AllOld;
    return std::nullopt;
}

Failure ItemWrite::carryOut(const ItemStore& store, const StoredKey& key, ItemStore::FirstGuess guess,
                            const ItemChange& change)
{
    return store.change(key, guess, [&](const Items::Item* before, ItemChange* made) {
        if (Failure failure = condition_->check(before))
            return failure;
        old_.reset();
        if (before != nullptr)
            old_ = *before;
        if (before != nullptr || change.action != ItemChange::Action::Delete)
            *made = change;
        return Failure();
    });
}

ItemRequests::Returned ItemWrite::returnedFor(const Items::JsonValue& request)
{
    return Capacity::isWanted(request) ? ItemRequests::Returned::OldItem : ItemRequests::Returned::Default;
}

void ItemWrite::measureOld(const Items::JsonValue& request, const ItemStore& store, const ServerReply& reply,
                           const StoredKey& key)
{
    if (returnedFor(request) == ItemRequests::Returned::OldItem)
        measuredBytes_ = store.sizeOfOld(reply, key);
}

std::size_t ItemWrite::oldBytes() const
{
    return old_ ? Items::sizeOfItem(*old_) : measuredBytes_;
}

void ItemWrite::writeReply(const Items::JsonValue& request, const Table& table, std::size_t bytes,
                           JsonWriter* reply) const
{
    writeItemReply(request, table, old_ && returnsOld_ ? &*old_ : nullptr, bytes, reply);
}

void writeItemReply(const Items::JsonValue& request, const Table& table, const Items::Item* returned, std::size_t bytes,
                    JsonWriter* reply)
{
    reply->StartObject();
    if (returned != nullptr) {
        putName("Attributes", reply);
        Items::writeItem(*returned, reply);
    }
    Capacity::writeMember(request, table, Capacity::ofWrite(bytes), reply);
    reply->EndObject();
}

} // namespace Api
