#ifndef QUORVA_EXPRESSIONS_PLACEHOLDERS_H
#define QUORVA_EXPRESSIONS_PLACEHOLDERS_H

#include "expressions/sharedvalue.h"

#include "items/attributevalue.h"
#include "items/itemjson.h"
#include "items/json.h"

#include <cstddef>
#include <map>
#include <string>
#include <string_view>

namespace Expressions {

/** What a request's ExpressionAttributeNames and ExpressionAttributeValues define, and what of that is used. */
class Placeholders {
public:
    void defineName(std::string placeholder, std::string name) { names_[std::move(placeholder)] = {std::move(name)}; }
    void defineValue(std::string placeholder, Items::AttributeValue value)
    {
        values_[std::move(placeholder)] = {shared(std::move(value))};
    }

    /**
     * Reads the members of a request; null for one that is missing. False, with the API's message in `error`, if one is
     * empty, a placeholder is malformed, or a name or value is not valid.
     */
    [[nodiscard]] bool readNames(const Items::JsonValue* json, Items::JsonError* error);
    [[nodiscard]] bool readValues(const Items::JsonValue* json, Items::JsonError* error);

    /** The bytes of all names and values, as the API counts them. */
    std::size_t size() const;

    /** What "#name" or ":value" stands for; marks it as used. Null if it is not defined. */
    const std::string* name(std::string_view placeholder);
    SharedValue value(std::string_view placeholder);

    /** The API's message if no expression uses a name or value, else empty. */
    std::string unusedError() const;

private:
    template <typename Content> struct Definition {
        Content content;
        bool isUsed = false;
    };
    template <typename Content> using Definitions = std::map<std::string, Definition<Content>, std::less<>>;

    template <typename Content>
    static const Content* use(Definitions<Content>* definitions, std::string_view placeholder);
    template <typename Content> static std::string unusedIn(const Definitions<Content>& definitions);

    Definitions<std::string> names_;
    Definitions<SharedValue> values_;
};

} // namespace Expressions

#endif
