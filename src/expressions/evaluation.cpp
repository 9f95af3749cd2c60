#include "expressions/condition.h"

#include <algorithm>
#include <compare>
#include <optional>

#include <string.h> // memmem(). NOLINT(modernize-deprecated-headers)

namespace Expressions {

namespace {

using Items::AttributeValue;
using Kind = Condition::Kind;

/** Characters, not bytes. */
std::size_t lengthOf(const std::string& utf8)
{
    return static_cast<std::size_t>(
        std::count_if(utf8.begin(), utf8.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

/** What size() is of; nothing for numbers, BOOL and NULL. */
std::optional<std::size_t> sizeOf(const AttributeValue& value)
{
    switch (value.type()) {
    case AttributeValue::Type::String:
        return lengthOf(*value.asString());
    case AttributeValue::Type::Binary:
        return value.asBinary()->size();
    case AttributeValue::Type::Map:
        return value.asMap()->size();
    case AttributeValue::Type::List:
        return value.asList()->size();
    case AttributeValue::Type::StringSet:
        return value.asStringSet()->size();
    case AttributeValue::Type::NumberSet:
        return value.asNumberSet()->size();
    case AttributeValue::Type::BinarySet:
        return value.asBinarySet()->size();
    case AttributeValue::Type::Number:
    case AttributeValue::Type::Bool:
    case AttributeValue::Type::Null:
        break;
    }
    return std::nullopt;
}

/** An operand's value for an item: one that is kept elsewhere, or a size, which it owns. */
class Value {
public:
    Value(const Operand& operand, const Items::Item& item)
    {
        value_ = operand.path() != nullptr ? find(item, *operand.path()) : operand.value();
        if (!operand.isSize || value_ == nullptr)
            return;
        if (const auto size = sizeOf(*value_))
            size_ = AttributeValue::ofNumber(*Decimal::Number::parse(std::to_string(*size)));
        value_ = size_ ? &*size_ : nullptr;
    }
    Value(const Value&) = delete;
    Value& operator=(const Value&) = delete;
    ~Value() = default;

    bool exists() const { return value_ != nullptr; }
    const AttributeValue& operator*() const { return *value_; }

private:
    const AttributeValue* value_ = nullptr;
    std::optional<AttributeValue> size_;
};

bool beginsWith(const AttributeValue& value, const AttributeValue& prefix)
{
    if (value.type() != prefix.type())
        return false;
    if (value.asString() != nullptr)
        return value.asString()->starts_with(*prefix.asString());
    return value.asBinary() != nullptr && value.asBinary()->starts_with(*prefix.asBinary());
}

/** In time proportional to the lengths, which std::string::find() does not promise. */
bool contains(const std::string& bytes, const std::string& part)
{
    return memmem(bytes.data(), bytes.size(), part.data(), part.size()) != nullptr;
}

bool contains(const AttributeValue& value, const AttributeValue& part)
{
    switch (value.type()) {
    case AttributeValue::Type::String:
        return part.asString() != nullptr && contains(*value.asString(), *part.asString());
    case AttributeValue::Type::Binary:
        return part.asBinary() != nullptr && contains(*value.asBinary(), *part.asBinary());
    case AttributeValue::Type::StringSet:
        return part.asString() != nullptr && value.asStringSet()->contains(*part.asString());
    case AttributeValue::Type::NumberSet:
        return part.asNumber() != nullptr && value.asNumberSet()->contains(*part.asNumber());
    case AttributeValue::Type::BinarySet:
        return part.asBinary() != nullptr && value.asBinarySet()->contains({*part.asBinary()});
    case AttributeValue::Type::List:
        return std::ranges::find(*value.asList(), part) != value.asList()->end();
    case AttributeValue::Type::Number:
    case AttributeValue::Type::Bool:
    case AttributeValue::Type::Null:
    case AttributeValue::Type::Map:
        break;
    }
    return false;
}

bool holdsForOrder(Kind kind, std::partial_ordering order)
{
    switch (kind) {
    case Kind::Less:
        return order < 0;
    case Kind::LessOrEqual:
        return order <= 0;
    case Kind::Greater:
        return order > 0;
    default:
        return order >= 0;
    }
}

bool isOneOf(const AttributeValue& value, const std::vector<Operand>& operands, const Items::Item& item)
{
    return std::any_of(operands.begin() + 1, operands.end(), [&](const Operand& operand) {
        const Value candidate(operand, item);
        return candidate.exists() && *candidate == value;
    });
}

/** A comparison or function whose first operand has a value. */
bool holdsFor(const AttributeValue& value, const Condition& condition, const Items::Item& item)
{
    if (condition.kind == Kind::In)
        return isOneOf(value, condition.operands, item);
    const Value other(condition.operands[1], item);
    if (!other.exists())
        return condition.kind == Kind::NotEqual;
    switch (condition.kind) {
    case Kind::Equal:
        return value == *other;
    case Kind::NotEqual:
        return !(value == *other);
    case Kind::Between: {
        const Value upper(condition.operands[2], item);
        return upper.exists() && Items::compare(value, *other) >= 0 && Items::compare(value, *upper) <= 0;
    }
    case Kind::AttributeType:
        return (*other).asString() != nullptr && *(*other).asString() == Items::nameOf(value.type());
    case Kind::BeginsWith:
        return beginsWith(value, *other);
    case Kind::Contains:
        return contains(value, *other);
    default:
        return holdsForOrder(condition.kind, Items::compare(value, *other));
    }
}

bool holdsForItem(const Condition& condition, const Items::Item& item)
{
    const auto holdsForPart = [&](const Condition& part) { return holdsForItem(part, item); };
    switch (condition.kind) {
    case Kind::And:
        return std::all_of(condition.conditions.begin(), condition.conditions.end(), holdsForPart);
    case Kind::Or:
        return std::any_of(condition.conditions.begin(), condition.conditions.end(), holdsForPart);
    case Kind::Not:
        return !holdsForPart(condition.conditions.front());
    default:
        break;
    }
    const Value first(condition.operands.front(), item);
    if (condition.kind == Kind::AttributeExists || condition.kind == Kind::AttributeNotExists)
        return first.exists() == (condition.kind == Kind::AttributeExists);
    return first.exists() ? holdsFor(*first, condition, item) : condition.kind == Kind::NotEqual;
}

} // namespace

bool holds(const Condition& condition, const Items::Item* item)
{
    static const Items::Item none;
    return holdsForItem(condition, item != nullptr ? *item : none);
}

} // namespace Expressions
