#ifndef QUORVA_STORAGE_OPENTABLES_H
#define QUORVA_STORAGE_OPENTABLES_H

#include <QByteArray>
#include <QByteArrayList>
#include <QHash>

#include <algorithm>
#include <array>
#include <cstddef>
#include <mutex>

class BDBIndex;

/**
 * The open databases of an environment by file part and number: requests find their database without composing its
 * registered name. Only open databases are added; they stay open as long as the environment, or
 * until the table is removed. Any thread.
 */
class OpenTables {
public:
    static constexpr unsigned Partitions = 256;
    static constexpr unsigned Meta = Partitions; // after those of the partitions

    /** Null if it was not added. */
    BDBIndex* find(const QByteArray& filePart, unsigned database) const
    {
        const std::lock_guard lock(mutex_);
        const auto table = tables_.constFind(filePart);
        return table != tables_.constEnd() ? table->databases[database] : nullptr;
    }

    /** Forgets a database that is being closed, and with the last one the table. The caller ensures that nobody uses
     * it. */
    void remove(const QByteArray& filePart, unsigned database)
    {
        const std::lock_guard lock(mutex_);
        const auto table = tables_.find(filePart);
        if (table == tables_.end())
            return;
        table->databases[database] = nullptr;
        if (std::ranges::all_of(table->databases, [](const BDBIndex* index) { return index == nullptr; }))
            tables_.erase(table);
    }

    /** True if it is the first one of its table. */
    bool add(const QByteArray& filePart, unsigned database, BDBIndex* index)
    {
        const std::lock_guard lock(mutex_);
        const qsizetype before = tables_.size();
        tables_[filePart].databases[database] = index;
        return tables_.size() != before;
    }

    /** The table has a description. A table without one has open databases only because requests have named it. */
    void noteCreated(const QByteArray& filePart)
    {
        const std::lock_guard lock(mutex_);
        if (const auto table = tables_.find(filePart); table != tables_.end())
            table->isCreated = true;
    }

    /** The file parts of created tables with an open database, in order. */
    QByteArrayList names() const
    {
        QByteArrayList names;
        {
            const std::lock_guard lock(mutex_);
            for (auto table = tables_.begin(); table != tables_.end(); ++table) {
                if (table->isCreated)
                    names.append(table.key());
            }
        }
        std::sort(names.begin(), names.end());
        return names;
    }

private:
    struct Table {
        std::array<BDBIndex*, std::size_t{Partitions} + 1> databases{}; // not owned
        bool isCreated = false;
    };

    mutable std::mutex mutex_;
    QHash<QByteArray, Table> tables_; // guarded by mutex_
};

#endif
