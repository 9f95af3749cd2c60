#ifndef QUORVA_EXPRESSIONS_PATHTREE_H
#define QUORVA_EXPRESSIONS_PATHTREE_H

#include "expressions/path.h"

#include <map>
#include <memory>
#include <optional>
#include <string>

namespace Expressions {

/**
 * Paths of which none leads to or through the value at another, and the parts of an item that are there: a projection.
 * For one thread at a time while paths are added.
 */
class PathTree {
public:
    /** Two paths that cannot be used together. */
    struct Clash {
        enum class Kind {
            Overlap,  // one leads to or through the value at the other
            Conflict, // what is a map for one is a list for the other
        };
        Kind kind;
        Path first; // the one that was there
    };

    /** Adds a path, unless it clashes with one that is there. Its cost does not depend on how many those are. */
    std::optional<Clash> add(const Path& path);

    /**
     * The parts of an item at the paths, inside the maps and lists that contain them. Elements of lists keep their
     * order and close ranks. A map or list that has nothing at any path is left out.
     */
    Items::Item partsOf(const Items::Item& item) const;

private:
    struct Node {
        std::map<Path::Element, Node> below; // all names, or all indexes; empty where a path ends
        std::shared_ptr<const Path> first;   // that leads here or through
    };

    static std::optional<Items::AttributeValue> partOf(const Node& node, const Items::AttributeValue& value);
    static void collect(const Node& node, const Items::AttributeValue::Map& map, Items::AttributeValue::Map* parts);

    Node root_;
};

} // namespace Expressions

#endif
