#ifndef QUORVA_TOOLS_ITEMTEXT_H
#define QUORVA_TOOLS_ITEMTEXT_H

#include "tools/session.h"

#include <QByteArray>
#include <QVariantMap>

#include <string>
#include <vector>

namespace Ctl {

/**
 * Reads the ITEM words of a command line: one word that is JSON, "-" for standard input, or a file's name, or
 * attributes as NAME=VALUE. An exit code; what is wrong has been told.
 */
[[nodiscard]] int readItem(const std::vector<std::string>& words, QVariantMap* item);

/**
 * An empty string, or why an item cannot be stored, or not be read back: its keys have to be there, as strings that the
 * server takes. `textSize` is at least the size of the item's JSON, so that small ones need not be measured.
 */
[[nodiscard]] std::string checkItem(const QVariantMap& item, const TableKeys& keys, qsizetype textSize);

/** An empty string, or that the item is too large to be read back. */
[[nodiscard]] std::string checkStoredSize(QVariantMap item, const TableKeys& keys);

/** The text of one of an item's two keys. */
QString keyText(const QVariantMap& item, const QString& name);

/** A whole item for printing: what a reply has, with its key attributes, as typed values. */
QVariantMap withKeys(QVariantMap attributes, const TableKeys& keys, const QString& hash, const QString& range);

} // namespace Ctl

#endif
