#ifndef QUORVA_ITEMS_ATTRIBUTEVALUE_H
#define QUORVA_ITEMS_ATTRIBUTEVALUE_H

#include "decimal/number.h"

#include <compare>
#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

/** The items of the API of 2012-08-10, without its wire format. Value types, like std::string; for one thread at a
 * time. */
namespace Items {

/** How deep maps and lists can be nested: an attribute of an item that is a list is the first level. */
inline constexpr int MostLevels = 32;

/** Bytes that are not text. Ordered as unsigned bytes. */
struct Binary {
    std::string bytes;
    friend bool operator==(const Binary&, const Binary&) = default;
    friend auto operator<=>(const Binary&, const Binary&) = default;
};

/** A value of one of ten types. By default an empty string. */
class AttributeValue {
public:
    /** In the order of the alternatives of `Value`. */
    enum class Type { String, Number, Binary, Bool, Null, Map, List, StringSet, NumberSet, BinarySet };
    static constexpr std::size_t TypeCount = 10;

    using Map = std::map<std::string, AttributeValue, std::less<>>;
    using List = std::vector<AttributeValue>;
    using StringSet = std::set<std::string, std::less<>>;
    using NumberSet = std::set<Decimal::Number>;
    using BinarySet = std::set<Items::Binary>;

    AttributeValue();
    AttributeValue(const AttributeValue& other);
    AttributeValue(AttributeValue&& other) noexcept;
    AttributeValue& operator=(const AttributeValue& other);
    AttributeValue& operator=(AttributeValue&& other) noexcept;
    ~AttributeValue();

    static AttributeValue ofString(std::string utf8);
    static AttributeValue ofNumber(const Decimal::Number& number);
    static AttributeValue ofBinary(std::string bytes);
    static AttributeValue ofBool(bool value);
    static AttributeValue ofNull();
    static AttributeValue ofMap(Map map = {});
    static AttributeValue ofList(List list = {});
    /** A set has at least one element. */
    static AttributeValue ofStringSet(StringSet set);
    static AttributeValue ofNumberSet(NumberSet set);
    static AttributeValue ofBinarySet(BinarySet set);

    Type type() const { return static_cast<Type>(value_.index()); }

    /** The value if it is of that type, else null. Callers that change a set must leave an element in it. */
    const std::string* asString() const { return std::get_if<std::string>(&value_); }
    const Decimal::Number* asNumber() const { return std::get_if<Decimal::Number>(&value_); }
    const std::string* asBinary() const;
    const bool* asBool() const { return std::get_if<bool>(&value_); }
    bool isNull() const { return type() == Type::Null; }
    const Map* asMap() const { return std::get_if<Map>(&value_); }
    Map* asMap() { return std::get_if<Map>(&value_); }
    const List* asList() const { return std::get_if<List>(&value_); }
    List* asList() { return std::get_if<List>(&value_); }
    const StringSet* asStringSet() const { return std::get_if<StringSet>(&value_); }
    StringSet* asStringSet() { return std::get_if<StringSet>(&value_); }
    const NumberSet* asNumberSet() const { return std::get_if<NumberSet>(&value_); }
    NumberSet* asNumberSet() { return std::get_if<NumberSet>(&value_); }
    const BinarySet* asBinarySet() const { return std::get_if<BinarySet>(&value_); }
    BinarySet* asBinarySet() { return std::get_if<BinarySet>(&value_); }

    /** Of the same type and value: numbers by value, sets without order. */
    friend bool operator==(const AttributeValue& a, const AttributeValue& b);

private:
    using Value = std::variant<std::string, Decimal::Number, Items::Binary, bool, std::monostate, Map, List, StringSet,
                               NumberSet, BinarySet>;

    template <typename Content> AttributeValue(std::in_place_t, Content&& content);

    Value value_;
};

/** An item, or a part of one: values by the names of their attributes, in the order of the names' bytes. */
using Item = AttributeValue::Map;

/**
 * The order of two strings, two numbers or two binaries: strings and binaries by their bytes. All
 * other pairs are unordered, even equal ones.
 */
std::partial_ordering compare(const AttributeValue& a, const AttributeValue& b);

/** The API's name of a type: "S", "N", "B", "BOOL", "NULL", "M", "L", "SS", "NS", "BS". */
std::string_view nameOf(AttributeValue::Type type);
/** The type with that name, if there is one. Names are case-sensitive. */
std::optional<AttributeValue::Type> typeNamed(std::string_view name);

/** How many levels of maps and lists the value has: 0 for all other types, 1 for an empty list. */
int levelsOf(const AttributeValue& value);

} // namespace Items

#endif
