#ifndef QUORVA_TESTS_ITEMS_ITEMMAKER_H
#define QUORVA_TESTS_ITEMS_ITEMMAKER_H

#include "decimal/number.h"
#include "items/attributevalue.h"
#include "items/json.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <utility>

/** Random values, the same for the same seed. */
class ItemMaker {
public:
    explicit ItemMaker(std::uint64_t seed) : source_(seed) {}

    /** 0 to `limit` - 1. */
    std::size_t upTo(std::size_t limit) { return source_() % limit; }

    std::string bytes(std::size_t count) { return characters(count, 0, 256); }
    /** Characters of those in ASCII, beginning with `first`. */
    std::string characters(std::size_t count, std::size_t first, std::size_t number);
    /** Characters of one to four bytes each, control characters among them. */
    std::string utf8(std::size_t mostCharacters);
    Decimal::Number number(int mostDigits);
    /** A value of any type, with at most `levels` levels below it. */
    Items::AttributeValue value(int levels);

    /** An item as large as the API allows, of attributes as `make` makes them. */
    static Items::Item filled(const std::function<std::pair<std::string, Items::AttributeValue>()>& make);
    /** The same with one attribute, a list of elements as `make` makes them. */
    static Items::Item listOf(const std::function<Items::AttributeValue()>& make);

private:
    std::mt19937_64 source_;
};

/** The document of a JSON text. */
Items::JsonDocument parsedJson(const std::string& text);

#endif
