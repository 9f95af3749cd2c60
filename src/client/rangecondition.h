#ifndef QUORVA_CLIENT_RANGECONDITION_H
#define QUORVA_CLIENT_RANGECONDITION_H

#include <QString>
#include <QVariantMap>

#include <optional>

/** Conditions on a Query's range key that allow its pages to be resumed. */
namespace Client {

/**
 * All range keys, from the last one downward. A downward query without a condition starts at the byte 255 instead,
 * above which there may be more keys, and if its start key was deleted meanwhile, it returns the next greater item
 * again.
 */
QVariantMap allKeysDown();

/**
 * The range keys that begin with `prefix`, in place of BEGINS_WITH. Upward, these are the keys between two bounds;
 * downward, all keys at or below an upper bound, and the reader stops at the first key without the prefix.
 */
QVariantMap keysWithPrefix(const QString& prefix, bool down);

/**
 * Replaces BEGINS_WITH in a Query's body, as it cannot be resumed: in the server the start key replaces the condition's
 * value, so the second page would look for keys that begin with the last key. Also removes a start key that precedes
 * all keys with the prefix, as the server would start there.
 *
 * Returns the prefix, or nothing, with `body` unchanged, if the body has no such condition.
 */
std::optional<QString> replaceBeginsWith(QVariantMap* body, bool down);

} // namespace Client

#endif
