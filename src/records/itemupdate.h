#ifndef QUORVA_RECORDS_ITEMUPDATE_H
#define QUORVA_RECORDS_ITEMUPDATE_H

#include <QByteArray>
#include <QVariantMap>

namespace Records {

/**
 * Applies an "AttributeUpdates" map to `item`, attribute names ascending, and fills `answer` as `returnValues`
 * ("ALL_OLD", "UPDATED_OLD", "UPDATED_NEW", "ALL_NEW", anything else: nothing) requests. 0, or the result of a failed
 * "ADD" (see applyAdd); `item` is then partly updated and must not be written. Pure; any thread.
 *
 * Kept: "DELETE" ignores a "Value" and removes the whole attribute; an unknown action leaves the attribute alone.
 */
[[nodiscard]] int applyUpdates(const QVariantMap& updates, const QByteArray& returnValues, QVariantMap* item,
                               QVariantMap* answer);

} // namespace Records

#endif
