#ifndef QUORVA_CLIENT_RANGECONDITION_H
#define QUORVA_CLIENT_RANGECONDITION_H

#include <QString>
#include <QVariantMap>

#include <optional>

/** Conditions of a Query on the range key that its pages can be resumed with. */
namespace Client {

/**
 * All range keys, read from the last one down. A query down without a condition begins at the byte 255 instead, above
 * which there may be more, and when its start key was deleted meanwhile, it answers the next greater one a second time.
 */
QVariantMap allKeysDown();

/**
 * The range keys that begin with `prefix`, in place of BEGINS_WITH. Up, these are the keys between two; down, they are
 * all at or below one, and the reader ends at the first key without the prefix.
 */
QVariantMap keysWithPrefix(const QString& prefix, bool down);

/**
 * Replaces BEGINS_WITH in a Query's body, which cannot be resumed: at the server the start key takes the place of the
 * condition's value, so that the second page would look for keys that begin with the last one. A start key in front of
 * all keys with the prefix is removed as well, as the server would begin there.
 *
 * The prefix; nothing, and `body` is unchanged, when the body has no such condition.
 */
std::optional<QString> replaceBeginsWith(QVariantMap* body, bool down);

} // namespace Client

#endif
