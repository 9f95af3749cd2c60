#include "items/columns.h"
#include "items/packeditem.h"
#include "items/utf8.h"

#include <cstddef>
#include <utility>

namespace Items {

namespace {

using Type = AttributeValue::Type;

/** Every function is false for what no packed item contains. */
class Unpacker {
public:
    explicit Unpacker(const Columns& columns) : columns_(columns) {}

    bool take(Item* attributes)
    {
        std::string name;
        for (std::size_t count = takeCount(); count > 0; --count) {
            AttributeValue value;
            if (!takeNext(Columns::Text, &name) || !isUtf8(name) || !take(&value) ||
                !attributes->emplace(name, std::move(value)).second)
                return false;
        }
        return columns_.isWhole();
    }

    bool isDone() const { return columns_.isDone(); }

private:
    bool take(AttributeValue* value)
    {
        const unsigned type = columns_.takeByte(Columns::Structure);
        if (!columns_.isWhole() || type >= AttributeValue::TypeCount)
            return false;
        switch (static_cast<Type>(type)) {
        case Type::String:
            return takeString(value);
        case Type::Number:
            return takeNumber(value);
        case Type::Binary:
            *value = AttributeValue::ofBinary(std::string(takeText(Columns::Binary)));
            return columns_.isWhole();
        case Type::Bool:
            return takeBool(value);
        case Type::Null:
            *value = AttributeValue::ofNull();
            return true;
        case Type::Map:
            return takeMap(value);
        case Type::List:
            return takeList(value);
        case Type::StringSet:
            return takeStringSet(value);
        case Type::NumberSet:
            return takeNumberSet(value);
        case Type::BinarySet:
            return takeBinarySet(value);
        }
        return false;
    }

    bool takeString(AttributeValue* value)
    {
        const std::string_view text = takeText(Columns::Text);
        *value = AttributeValue::ofString(std::string(text));
        return columns_.isWhole() && isUtf8(text);
    }

    bool takeBool(AttributeValue* value)
    {
        const unsigned byte = columns_.takeByte(Columns::Structure);
        *value = AttributeValue::ofBool(byte == 1);
        return columns_.isWhole() && byte <= 1;
    }

    bool takeNumber(AttributeValue* value)
    {
        Decimal::Number number;
        if (!take(&number))
            return false;
        *value = AttributeValue::ofNumber(number);
        return true;
    }

    bool takeMap(AttributeValue* value)
    {
        Item map;
        if (--levels_ < 0 || !take(&map))
            return false;
        ++levels_;
        *value = AttributeValue::ofMap(std::move(map));
        return true;
    }

    bool takeList(AttributeValue* value)
    {
        if (--levels_ < 0)
            return false;
        AttributeValue::List list;
        for (std::size_t count = takeCount(); count > 0; --count) {
            if (!take(&list.emplace_back()))
                return false;
        }
        ++levels_;
        *value = AttributeValue::ofList(std::move(list));
        return columns_.isWhole();
    }

    bool takeStringSet(AttributeValue* value)
    {
        AttributeValue::StringSet set;
        std::string text;
        for (std::size_t count = takeCount(); count > 0; --count) {
            if (!takeNext(Columns::Text, &text) || !isUtf8(text) || !set.insert(text).second)
                return false;
        }
        *value = AttributeValue::ofStringSet(std::move(set));
        return !value->asStringSet()->empty();
    }

    bool takeBinarySet(AttributeValue* value)
    {
        AttributeValue::BinarySet set;
        std::string bytes;
        for (std::size_t count = takeCount(); count > 0; --count) {
            if (!takeNext(Columns::Binary, &bytes) || !set.insert({bytes}).second)
                return false;
        }
        *value = AttributeValue::ofBinarySet(std::move(set));
        return !value->asBinarySet()->empty();
    }

    bool takeNumberSet(AttributeValue* value)
    {
        AttributeValue::NumberSet set;
        for (std::size_t count = takeCount(); count > 0; --count) {
            Decimal::Number number;
            if (!take(&number) || !set.insert(number).second)
                return false;
        }
        *value = AttributeValue::ofNumberSet(std::move(set));
        return !value->asNumberSet()->empty();
    }

    bool take(Decimal::Number* number)
    {
        const unsigned head = columns_.takeByte(Columns::NumberHeads);
        if (head == 0)
            return columns_.isWhole();
        const unsigned exponent = columns_.takeByte(Columns::Exponents);
        std::string digits;
        for (const char pair : columns_.takeBytes(Columns::DigitPairs, head >> 1)) {
            digits += static_cast<char>(static_cast<unsigned char>(pair) / 10);
            digits += static_cast<char>(static_cast<unsigned char>(pair) % 10);
        }
        if (!digits.empty() && digits.back() == 0)
            digits.pop_back();
        const auto read = Decimal::Number::fromDigits((head & 1) != 0, digits,
                                                      static_cast<int>(exponent) + Decimal::Number::LeastExponent);
        if (!columns_.isWhole() || !read)
            return false;
        *number = *read;
        return true;
    }

    std::size_t takeCount() { return columns_.takeNumber(Columns::Structure); }

    std::string_view takeText(Columns::Column column)
    {
        return columns_.takeBytes(column, columns_.takeNumber(Columns::Lengths));
    }

    /** Makes of a text the one after it. */
    bool takeNext(Columns::Column column, std::string* text)
    {
        const std::size_t shared = columns_.takeNumber(Columns::Shared);
        if (shared > text->size())
            return false;
        text->resize(shared);
        *text += takeText(column);
        return columns_.isWhole();
    }

    ColumnReader columns_;
    int levels_ = MostLevels;
};

} // namespace

std::optional<Item> PackedItem::unpack(std::string_view bytes)
{
    const auto columns = Columns::fromBytes(bytes);
    if (!columns)
        return {};
    Unpacker unpacker(*columns);
    Item item;
    if (!unpacker.take(&item) || !unpacker.isDone())
        return {};
    return item;
}

} // namespace Items
