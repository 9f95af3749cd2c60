#ifndef QUORVA_TOOLS_ITEMPRINTER_H
#define QUORVA_TOOLS_ITEMPRINTER_H

#include "protocol/keynames.h"

#include <QVariantMap>

#include <memory>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
} // namespace CLI

namespace Ctl {

/** Prints items on standard output, in one of the forms for people. */
class ItemPrinter {
public:
    ItemPrinter() = default;
    virtual ~ItemPrinter() = default;
    ItemPrinter(const ItemPrinter&) = delete;
    ItemPrinter& operator=(const ItemPrinter&) = delete;

    /** Returns an exit code; errors have been reported. */
    [[nodiscard]] virtual int print(const QVariantMap& item) = 0;
    /** Prints what is left after the last item, likewise. */
    [[nodiscard]] virtual int end() = 0;
};

/** The options --pretty and --table; without them, items are JSON, one per line. */
struct ItemForm {
    bool pretty = false;
    bool table = false;

    /** Returns the two options. */
    std::vector<CLI::Option*> declare(CLI::App* command);
    /**
     * The printer of the chosen form, which must not be that of one line per item. The keys come first, then the
     * attributes of `order`, then the others.
     */
    std::unique_ptr<ItemPrinter> makePrinter(const KeyNames& keys, const std::vector<std::string>& order) const;
    bool isLines() const { return !pretty && !table; }
};

} // namespace Ctl

#endif
