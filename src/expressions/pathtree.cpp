#include "expressions/pathtree.h"

namespace Expressions {

std::optional<PathTree::Clash> PathTree::add(const Path& path)
{
    // Whether it clashes is known before the tree changes, so that a path that is refused leaves nothing behind.
    const Node* node = &root_;
    std::size_t known = 0;
    for (const Path::Element& element : path.elements()) {
        const auto child = node->below.find(element);
        if (child == node->below.end()) {
            if (!node->below.empty() && node->below.begin()->first.index() != element.index())
                return Clash{Clash::Kind::Conflict, *node->below.begin()->second.first};
            break;
        }
        node = &child->second;
        ++known;
        if (node->below.empty() || known == path.elements().size())
            return Clash{Clash::Kind::Overlap, *node->first};
    }
    const auto shared = std::make_shared<const Path>(path);
    Node* place = &root_;
    for (const Path::Element& element : path.elements()) {
        place = &place->below[element];
        if (!place->first)
            place->first = shared;
    }
    return std::nullopt;
}

void PathTree::collect(const Node& node, const Items::AttributeValue::Map& map, Items::AttributeValue::Map* parts)
{
    for (const auto& [element, below] : node.below) {
        const auto found = map.find(std::get<std::string>(element));
        if (found == map.end())
            continue;
        if (auto part = partOf(below, found->second))
            parts->emplace(found->first, std::move(*part));
    }
}

std::optional<Items::AttributeValue> PathTree::partOf(const Node& node, const Items::AttributeValue& value)
{
    if (node.below.empty())
        return value;
    if (std::holds_alternative<std::string>(node.below.begin()->first)) {
        Items::AttributeValue::Map parts;
        if (value.asMap() != nullptr)
            collect(node, *value.asMap(), &parts);
        return parts.empty() ? std::nullopt : std::optional(Items::AttributeValue::ofMap(std::move(parts)));
    }
    Items::AttributeValue::List parts;
    if (const auto* list = value.asList()) {
        for (const auto& [element, below] : node.below) {
            const std::size_t index = std::get<std::size_t>(element);
            if (index >= list->size())
                break;
            if (auto part = partOf(below, (*list)[index]))
                parts.push_back(std::move(*part));
        }
    }
    return parts.empty() ? std::nullopt : std::optional(Items::AttributeValue::ofList(std::move(parts)));
}

Items::Item PathTree::partsOf(const Items::Item& item) const
{
    Items::Item parts;
    collect(root_, item, &parts);
    return parts;
}

} // namespace Expressions
