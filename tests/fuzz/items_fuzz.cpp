/*
 * Items in JSON and stored items from outside are refused, or give an item whose text gives the same item; and so are
 * keys from outside, whose order is that of their values.
 */
#include "budget.h"
#include "choices.h"
#include "fuzztarget.h"

#include "items/itemjson.h"
#include "items/itemsize.h"
#include "items/json.h"
#include "items/keycodec.h"
#include "items/packeditem.h"
#include "items/storeditem.h"

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace {

using Items::AttributeValue;
using Items::Item;
namespace KeyCodec = Items::KeyCodec;
using KeyCodec::Form;

constexpr unsigned ParseFlags = rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag;

Items::JsonDocument parsed(std::string_view text)
{
    Items::JsonDocument document;
    document.Parse<ParseFlags>(text.data(), text.size());
    return document;
}

void checkItem(const Item& item)
{
    const std::string json = Items::jsonOf(item);
    Item again;
    Items::JsonError error;
    FUZZ_ASSERT(Items::readItem(parsed(json), &again, &error));
    FUZZ_ASSERT(again == item && Items::jsonOf(again) == json);
    FUZZ_ASSERT(Items::sizeOfItem(item) <= json.size());
    for (const auto& [name, value] : item)
        FUZZ_ASSERT(Items::levelsOf(value) <= Items::MostLevels);

    const auto packed = Items::PackedItem::pack(item);
    FUZZ_ASSERT(packed && Items::PackedItem::unpack(*packed) == item);
    std::string why;
    FUZZ_ASSERT(Items::StoredItem::read(parsed(Items::StoredItem::textOf(item).value()), {}, &again, &why));
    FUZZ_ASSERT(again == item);
}

void checkJson(std::string_view text)
{
    const Items::JsonDocument document = parsed(text);
    if (document.HasParseError())
        return;
    Item item;
    Items::JsonError error;
    if (Items::readItem(document, &item, &error))
        checkItem(item);
    else
        FUZZ_ASSERT(!error.message.empty());
    std::string why;
    FUZZ_ASSERT(Items::StoredItem::read(document, {}, &item, &why) || !why.empty());
}

void checkKey(Form form, std::string_view bytes, std::string_view other)
{
    const auto value = KeyCodec::decode(form, bytes);
    if (!value)
        return;
    FUZZ_ASSERT(value->type() == KeyCodec::typeOf(form));
    const auto key = KeyCodec::encode(form, *value);
    FUZZ_ASSERT(form == Form::Latin1 || key == bytes);
    FUZZ_ASSERT(KeyCodec::bytesOfJsonText(KeyCodec::jsonText(bytes)) == bytes);
    const auto second = KeyCodec::decode(form, other);
    if (!second)
        return;
    const bool isLess = std::string(bytes) < std::string(other);
    FUZZ_ASSERT((Items::compare(*value, *second) < 0) == isLess);
    const auto bounds = KeyCodec::prefixBounds(form, *second);
    if (form == Form::String || form == Form::Binary) {
        const std::string& text = form == Form::String ? *value->asString() : *value->asBinary();
        const std::string& prefix = form == Form::String ? *second->asString() : *second->asBinary();
        FUZZ_ASSERT((bounds->low <= *key && *key <= bounds->high) == text.starts_with(prefix));
    }
}

void check(const std::uint8_t* data, std::size_t size)
{
    constexpr std::array<Form, 4> Forms = {Form::String, Form::Number, Form::Binary, Form::Latin1};
    Choices choices(data, size);
    const Form form = choices.of(Forms);
    const std::string_view key = choices.piece(255);
    checkKey(form, key, choices.piece(255));
    checkJson(std::string_view(reinterpret_cast<const char*>(data), size));
    if (const auto item = Items::PackedItem::unpack(choices.rest()))
        FUZZ_ASSERT(Items::PackedItem::unpack(Items::PackedItem::pack(*item).value()) == item);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    withinBudget(size, [&] { check(data, size); });
    return 0;
}
