#ifndef QUORVA_TOOLS_ITEMTABLE_H
#define QUORVA_TOOLS_ITEMTABLE_H

#include "tools/itemprinter.h"

#include <QByteArray>
#include <QStringList>

#include <vector>

namespace Ctl {

/**
 * Prints items as lines with aligned columns, one for each attribute:
 *
 *     customer  date     tags         total
 *     --------  -------  -----------  -----
 *     abc       2012-01  {new, paid}     17
 *
 * Control characters are escaped, values wider than MostColumns are truncated, and numbers are right-aligned. Column
 * widths depend on all rows, so a table has at most MostRows; the next one follows after an empty line.
 */
class ItemTable : public ItemPrinter {
public:
    static constexpr std::size_t MostRows = 1000;
    static constexpr int MostColumns = 60;

    /** Attributes of `first` come in this order, before all others. */
    explicit ItemTable(QStringList first) : first_(std::move(first)) {}

    int print(const QVariantMap& item) override;
    int end() override;

    /** The table of these items, with its last line end. */
    static QByteArray textOf(const std::vector<QVariantMap>& items, const QStringList& first);

private:
    const QStringList first_;
    std::vector<QVariantMap> items_; // not printed yet
    bool printed_ = false;
};

} // namespace Ctl

#endif
