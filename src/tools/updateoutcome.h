#ifndef QUORVA_TOOLS_UPDATEOUTCOME_H
#define QUORVA_TOOLS_UPDATEOUTCOME_H

#include <QVariantMap>

#include <string>

namespace Ctl {

/**
 * Applies updates to an item as the server will; `updates` is the "AttributeUpdates" of the request. Returns an empty
 * string, or why a number in it would be lost: the server computes with 64-bit integers only.
 */
[[nodiscard]] std::string applyUpdates(const QVariantMap& updates, QVariantMap* item);

} // namespace Ctl

#endif
