#ifndef QUORVA_EXPRESSIONS_PATH_H
#define QUORVA_EXPRESSIONS_PATH_H

#include "items/attributevalue.h"

#include <cstddef>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace Expressions {

/** Where in an item a value is: an attribute, and names in maps and indexes of lists below it. */
class Path {
public:
    using Element = std::variant<std::string, std::size_t>;

    explicit Path(std::string attribute) { elements_.emplace_back(std::move(attribute)); }

    void append(std::string attribute) { elements_.emplace_back(std::move(attribute)); }
    void append(std::size_t index) { elements_.emplace_back(index); }

    /** At least one; the first is a name. */
    const std::vector<Element>& elements() const { return elements_; }
    const std::string& attribute() const { return std::get<std::string>(elements_.front()); }
    bool isNested() const { return elements_.size() > 1; }

    /** In the form of the API's messages: "[a, b, [3]]". */
    std::string text() const;

    friend bool operator==(const Path&, const Path&) = default;
    /** A path comes before those below it; indexes are in numerical order. */
    friend bool operator<(const Path& a, const Path& b) { return a.elements_ < b.elements_; }

private:
    std::vector<Element> elements_;
};

/** The value there, null if there is none. */
const Items::AttributeValue* find(const Items::Item& item, const Path& path);

/** The map or list that contains the value at a nested path; null if it does not exist or has another type. */
const Items::AttributeValue* findParent(const Items::Item& item, const Path& path);
Items::AttributeValue* findParent(Items::Item& item, const Path& path);

} // namespace Expressions

#endif
