#include "items/packeditem.h"

#include "items/columns.h"

#include <algorithm>
#include <cstddef>

namespace Items {

namespace {

using Type = AttributeValue::Type;

std::size_t sharedBytes(std::string_view a, std::string_view b)
{
    const auto differ = std::mismatch(a.begin(), a.end(), b.begin(), b.end());
    return static_cast<std::size_t>(differ.first - a.begin());
}

class Packer {
public:
    void put(const Item& attributes)
    {
        columns_.putNumber(Columns::Structure, attributes.size());
        std::string_view before;
        for (const auto& [name, value] : attributes) {
            putNext(Columns::Text, name, &before);
            put(value);
        }
    }

    const Columns& columns() const { return columns_; }

private:
    void put(const AttributeValue& value)
    {
        columns_.putByte(Columns::Structure, static_cast<unsigned>(value.type()));
        switch (value.type()) {
        case Type::String:
            return putText(Columns::Text, *value.asString());
        case Type::Number:
            return put(*value.asNumber());
        case Type::Binary:
            return putText(Columns::Binary, *value.asBinary());
        case Type::Bool:
            return columns_.putByte(Columns::Structure, *value.asBool() ? 1 : 0);
        case Type::Null:
            return;
        case Type::Map:
            return put(*value.asMap());
        case Type::List:
            return put(*value.asList());
        case Type::StringSet:
            return put(*value.asStringSet());
        case Type::NumberSet:
            return put(*value.asNumberSet());
        case Type::BinarySet:
            return put(*value.asBinarySet());
        }
    }

    void put(const AttributeValue::List& list)
    {
        columns_.putNumber(Columns::Structure, list.size());
        for (const AttributeValue& element : list)
            put(element);
    }

    void put(const AttributeValue::StringSet& set)
    {
        columns_.putNumber(Columns::Structure, set.size());
        std::string_view before;
        for (const std::string& element : set)
            putNext(Columns::Text, element, &before);
    }

    void put(const AttributeValue::BinarySet& set)
    {
        columns_.putNumber(Columns::Structure, set.size());
        std::string_view before;
        for (const Binary& element : set)
            putNext(Columns::Binary, element.bytes, &before);
    }

    void put(const AttributeValue::NumberSet& set)
    {
        columns_.putNumber(Columns::Structure, set.size());
        for (const Decimal::Number& element : set)
            put(element);
    }

    /** A text after the one before it in their order: only what it does not share with that at the beginning. */
    void putNext(Columns::Column column, std::string_view text, std::string_view* before)
    {
        const std::size_t shared = sharedBytes(*before, text);
        columns_.putNumber(Columns::Shared, shared);
        putText(column, text.substr(shared));
        *before = text;
    }

    void putText(Columns::Column column, std::string_view text)
    {
        columns_.putNumber(Columns::Lengths, text.size());
        columns_.putBytes(column, text);
    }

    void put(const Decimal::Number& number)
    {
        const std::string_view digits = number.digits();
        const std::size_t pairs = (digits.size() + 1) / 2;
        columns_.putByte(Columns::NumberHeads, static_cast<unsigned>(pairs << 1) | (number.isNegative() ? 1 : 0));
        if (number.isZero())
            return;
        columns_.putByte(Columns::Exponents, static_cast<unsigned>(number.exponent() - Decimal::Number::LeastExponent));
        for (std::size_t i = 0; i < digits.size(); i += 2) {
            const int second = i + 1 < digits.size() ? digits[i + 1] : 0;
            columns_.putByte(Columns::DigitPairs, static_cast<unsigned>(10 * digits[i] + second));
        }
    }

    Columns columns_;
};

} // namespace

std::optional<std::string> PackedItem::pack(const Item& item)
{
    Packer packer;
    packer.put(item);
    return packer.columns().bytes();
}

} // namespace Items
