#ifndef QUORVA_EXPRESSIONS_PATHTREE_H
#define QUORVA_EXPRESSIONS_PATHTREE_H

#include "expressions/path.h"

#include <map>
#include <memory>
#include <optional>
#include <string>

namespace Expressions {

/**
 * Paths, none of which leads to or through the value at another, and the parts of an item at these paths: a projection.
 * While paths are being added, for one thread at a time.
 */
class PathTree {
public:
    /** Two paths that cannot be used together. */
    struct Clash {
        enum class Kind {
            Overlap,  // one leads to or through the value at the other
            Conflict, // one takes for a map what the other takes for a list
        };
        Kind kind;
        Path first; // the one added earlier
    };

    /** Adds a path, unless it clashes with an earlier one. The cost does not depend on the number of paths. */
    std::optional<Clash> add(const Path& path);

    /**
     * The parts of an item at the paths, inside the maps and lists that contain them. Elements of lists keep their
     * order, without gaps. A map or list that has nothing at any path is omitted.
     */
    Items::Item partsOf(const Items::Item& item) const;

private:
    struct Node {
        std::map<Path::Element, Node> below; // all names, or all indexes; empty where a path ends
        std::shared_ptr<const Path> first;   // the first path that leads here or through here
    };

    static std::optional<Items::AttributeValue> partOf(const Node& node, const Items::AttributeValue& value);
    static void collect(const Node& node, const Items::AttributeValue::Map& map, Items::AttributeValue::Map* parts);

    Node root_;
};

} // namespace Expressions

#endif
