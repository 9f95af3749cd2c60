#include "items/storeditem.h"

#include "items/base85.h"
#include "items/itemjson.h"
#include "items/packeditem.h"

#include <algorithm>
#include <utility>

namespace Items {

namespace {

/** The type of a packed item, which is not a type of the API. On disk: do not change. */
constexpr const char* PackedType = "Z";

constexpr const char* Damaged = "The packed item is damaged";

/** The name under which a packed item is stored: longer than that of any key attribute, which none may have. Stored. */
std::string packedName()
{
    constexpr std::size_t LongestKeyName = 255;
    std::string name = "Packed";
    name.resize(LongestKeyName + 1, '.');
    return name;
}

/** The text of a packed item, for the value that is one. Null for any other. */
const JsonValue* findPacked(const JsonValue& value)
{
    if (!value.IsObject() || value.MemberCount() != 1)
        return nullptr;
    const auto packed = value.FindMember(PackedType);
    return packed != value.MemberEnd() && packed->value.IsString() ? &packed->value : nullptr;
}

std::optional<Item> unpack(const JsonValue& text)
{
    const auto bytes = Base85::decode({text.GetString(), text.GetStringLength()});
    return bytes ? PackedItem::unpack(*bytes) : std::nullopt;
}

} // namespace

std::optional<std::string> StoredItem::textOf(const Item& item)
{
    std::string json = jsonOf(item);
    if (json.size() <= MostBytes)
        return json;
    const auto packed = PackedItem::pack(item);
    if (!packed)
        return {};
    json = "{\"" + packedName() + "\":{\"" + PackedType + "\":\"" + Base85::encode(*packed) + "\"}}";
    if (json.size() > MostBytes)
        return {};
    return json;
}

bool StoredItem::read(const JsonValue& stored, std::span<const std::string_view> keyNames, Item* item, std::string* why)
{
    const auto fail = [why](std::string reason) {
        *why = std::move(reason);
        return false;
    };
    item->clear();
    if (!stored.IsObject())
        return fail("The stored item is not an object");
    const JsonValue* packed = nullptr;
    for (const auto& member : stored.GetObject()) {
        const std::string_view name(member.name.GetString(), member.name.GetStringLength());
        if (std::find(keyNames.begin(), keyNames.end(), name) != keyNames.end())
            continue;
        if (packed != nullptr)
            return fail(Damaged);
        packed = item->empty() ? findPacked(member.value) : nullptr;
        if (packed != nullptr)
            continue;
        // Most stored names ascend.
        AttributeValue& value = item->try_emplace(item->end(), std::string(name))->second;
        JsonError error;
        if (!readValue(member.value, &value, &error))
            return fail(std::move(error.message));
    }
    if (packed == nullptr)
        return true;
    auto unpacked = unpack(*packed);
    if (!unpacked)
        return fail(Damaged);
    *item = std::move(*unpacked);
    return true;
}

} // namespace Items
