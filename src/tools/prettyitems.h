#ifndef QUORVA_TOOLS_PRETTYITEMS_H
#define QUORVA_TOOLS_PRETTYITEMS_H

#include "tools/itemprinter.h"

#include <QByteArray>
#include <QStringList>

namespace Ctl {

/**
 * Prints each item as JSON with one attribute per line. Characters that control a terminal are escaped as in JSON, so
 * the output has the same values.
 *
 *     {
 *       "customer": {"S": "abc"},
 *       "tags": {"SS": ["new", "paid"]}
 *     }
 */
class PrettyItems : public ItemPrinter {
public:
    /** Attributes of `first` come in this order, before all others. */
    explicit PrettyItems(QStringList first) : first_(std::move(first)) {}

    int print(const QVariantMap& item) override;
    int end() override;

    /** The text of an item, with its last line end. */
    static QByteArray textOf(const QVariantMap& item, const QStringList& first);

private:
    const QStringList first_;
};

} // namespace Ctl

#endif
