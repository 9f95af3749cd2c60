#include "expressions/path.h"

#include <type_traits>

namespace Expressions {

namespace {

/** The element of a map or list, null if there is none; works on const values and others. */
template <typename Value> Value* elementOf(Value& value, const Path::Element& element)
{
    if (const auto* name = std::get_if<std::string>(&element)) {
        auto* const map = value.asMap();
        if (map == nullptr)
            return nullptr;
        const auto found = map->find(*name);
        return found == map->end() ? nullptr : &found->second;
    }
    auto* const list = value.asList();
    const std::size_t index = std::get<std::size_t>(element);
    return list != nullptr && index < list->size() ? &(*list)[index] : nullptr;
}

/** The value that the first `count` elements of the path lead to. */
template <typename Item> auto* findFirst(Item& item, const Path& path, std::size_t count)
{
    using Value = std::conditional_t<std::is_const_v<Item>, const Items::AttributeValue, Items::AttributeValue>;
    const auto attribute = item.find(path.attribute());
    Value* value = attribute == item.end() ? nullptr : &attribute->second;
    for (std::size_t i = 1; i < count && value != nullptr; ++i)
        value = elementOf(*value, path.elements()[i]);
    return value;
}

template <typename Item> auto* findContainer(Item& item, const Path& path)
{
    auto* parent = findFirst(item, path, path.elements().size() - 1);
    const bool isName = std::holds_alternative<std::string>(path.elements().back());
    if (parent != nullptr && (isName ? parent->asMap() == nullptr : parent->asList() == nullptr))
        parent = nullptr;
    return parent;
}

} // namespace

std::string Path::text() const
{
    std::string result = "[";
    for (const Element& element : elements_) {
        if (result.size() > 1)
            result += ", ";
        if (const auto* name = std::get_if<std::string>(&element))
            result += *name;
        else
            result += "[" + std::to_string(std::get<std::size_t>(element)) + "]";
    }
    return result + "]";
}

const Items::AttributeValue* find(const Items::Item& item, const Path& path)
{
    return findFirst(item, path, path.elements().size());
}

const Items::AttributeValue* findParent(const Items::Item& item, const Path& path)
{
    return findContainer(item, path);
}

Items::AttributeValue* findParent(Items::Item& item, const Path& path)
{
    return findContainer(item, path);
}

} // namespace Expressions
