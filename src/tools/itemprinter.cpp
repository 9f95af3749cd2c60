#include "tools/itemprinter.h"

#include "tools/itemtable.h"
#include "tools/prettyitems.h"

#include <CLI/CLI.hpp>
#include <QStringList>

namespace Ctl {

std::vector<CLI::Option*> ItemForm::declare(CLI::App* command)
{
    auto* prettyOption = command->add_flag("--pretty", pretty, "Print items for reading: JSON, one attribute per line");
    auto* tableOption = command->add_flag("--table", table, "Print items for reading: a line per item, in columns");
    tableOption->excludes(prettyOption);
    return {prettyOption, tableOption};
}

std::unique_ptr<ItemPrinter> ItemForm::makePrinter(const KeyNames& keys, const std::vector<std::string>& order) const
{
    QStringList first{keys.hash, keys.range};
    for (const std::string& name : order) {
        if (!first.contains(QString::fromStdString(name)))
            first.append(QString::fromStdString(name));
    }
    if (table)
        return std::make_unique<ItemTable>(first);
    return std::make_unique<PrettyItems>(first);
}

} // namespace Ctl
