#ifndef QUORVA_TOOLS_ITEMTEXT_H
#define QUORVA_TOOLS_ITEMTEXT_H

#include "tools/session.h"

#include <QByteArray>
#include <QVariantMap>

#include <string>
#include <vector>

namespace Ctl {

/**
 * Reads the ITEM words of a command line: one word that is JSON, "-" for standard input or a file name; or attributes
 * as NAME=VALUE. Returns an exit code; errors have been reported.
 */
[[nodiscard]] int readItem(const std::vector<std::string>& words, QVariantMap* item);

/**
 * Returns an empty string, or why an item cannot be stored or read back: it must have its keys, as strings that the
 * server accepts. `textSize` is an upper bound of the size of the item's JSON, so that small items need not be
 * measured.
 */
[[nodiscard]] std::string checkItem(const QVariantMap& item, const KeyNames& keys, qsizetype textSize);

/** Returns an empty string, or a message that the item is too large to be read back. */
[[nodiscard]] std::string checkStoredSize(QVariantMap item, const KeyNames& keys);

/** The text of one of an item's two keys. */
QString keyText(const QVariantMap& item, const QString& name);

/** A whole item for printing: the attributes of a reply and the key attributes, as typed values. */
QVariantMap withKeys(QVariantMap attributes, const KeyNames& keys, const QString& hash, const QString& range);

} // namespace Ctl

#endif
