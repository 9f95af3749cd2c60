#ifndef QUORVA_TOOLS_IMPORTBATCH_H
#define QUORVA_TOOLS_IMPORTBATCH_H

#include "tools/session.h"

#include <QByteArray>
#include <QSet>
#include <QString>

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace Ctl {

/** The texts of an item's hash and range key. */
using ItemKey = std::pair<QString, QString>;

/** The items of an import that are sent in one request, each as the text of its line. */
class ImportBatch {
public:
    bool isEmpty() const { return items_.empty(); }
    std::size_t size() const { return items_.size(); }
    /** Whether an item of this size can be added. */
    bool hasRoomFor(qsizetype bytes) const;
    /** Whether it is large enough to be sent without waiting for more items. */
    bool isFull() const;
    /** Whether it contains an item with these keys: a request may write an item only once. */
    bool contains(const ItemKey& key) const { return keys_.contains(key); }
    /** The number of the line that an item came from. */
    long long lineOf(std::size_t item) const { return items_[item].line; }

    void add(long long line, const QByteArray& text, const ItemKey& key);
    void clear();

    /** The body of a request that stores `count` of the items, starting at `first`. */
    QByteArray requestBody(const std::string& table, std::size_t first, std::size_t count) const;

private:
    struct Item {
        long long line;
        QByteArray text;
    };

    std::vector<Item> items_;
    QSet<ItemKey> keys_;
    qsizetype bytes_ = 0; // of all texts
};

/** Reads the keys of the item on a line. Returns an empty string, or why the item cannot be stored. */
[[nodiscard]] std::string checkImportLine(const QByteArray& line, const KeyNames& keys, ItemKey* key);

} // namespace Ctl

#endif
