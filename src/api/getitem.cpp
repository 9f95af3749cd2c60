#include "api/capacity.h"
#include "api/itemio.h"
#include "api/itemrequests.h"
#include "api/itemsteps.h"
#include "api/members.h"
#include "api/storedkeys.h"
#include "items/itemsize.h"
#include "items/plainitem.h"
#include "protocol/envelope.h"

#include <string>
#include <string_view>
#include <utility>

namespace Api {

namespace {

class GetItemSteps : public ItemSteps {
public:
    Failure read(const Items::JsonValue& request) override
    {
        if (Failure failure = readParameters(Expressions::RequestKind::Get, request, &parameters_))
            return failure;
        return readItem(*member(request, "Key"), &keyAttributes_);
    }

    Failure prepare(const Items::JsonValue&, std::shared_ptr<const Table> table) override
    {
        table_ = std::move(table);
        if (Failure failure = ItemKeys::ofKey(*table_, keyAttributes_, &key_))
            return failure;
        call_ = {::Operations::GetItem, ItemRequests::byKey(*table_, key_)};
        return std::nullopt;
    }

    Failure finish(const Items::JsonValue& request, const ItemStore& store, const ServerReply& reply,
                   JsonWriter* writer) override
    {
        std::optional<Items::Item> item;
        if (Failure failure = store.readReply(reply, key_, &item))
            return failure;
        writer->StartObject();
        if (item) {
            putName("Item", writer);
            writeItem(*item, parameters_.projection, writer);
        }
        if (Capacity::isWanted(request)) {
            const std::size_t bytes = item ? Items::sizeOfItem(*item) : 0;
            const bool isConsistent = boolIn(request, "ConsistentRead").value_or(false);
            Capacity::writeMember(request, *table_, Capacity::ofRead(bytes, isConsistent), writer);
        }
        writer->EndObject();
        return std::nullopt;
    }

    bool finishPlain(const Items::JsonValue& request, std::string_view reply, std::string* text) override
    {
        constexpr std::string_view Front = "\"Item\":";
        const QByteArrayView members = Envelopes::membersOfSuccess(reply);
        if (!members.startsWith(Front) || parameters_.projection || Capacity::isWanted(request))
            return false;
        text->append("{").append(Front);
        const QByteArrayView stored = members.sliced(static_cast<qsizetype>(Front.size()));
        if (!Items::PlainItem::append({stored.data(), static_cast<std::size_t>(stored.size())}, keyAttributes_, text))
            return false;
        text->append("}");
        return true;
    }

private:
    Expressions::Parameters parameters_;
    Items::Item keyAttributes_;
};

} // namespace

std::unique_ptr<ItemSteps> getItemSteps()
{
    return std::make_unique<GetItemSteps>();
}

} // namespace Api
