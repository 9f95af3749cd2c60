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
 * The open databases of an environment by file part and number: a request finds its database without composing the
 * name under which it is registered. Only open databases are added; they stay open as long as the environment, or
 * until the table is removed. Any thread.
 */
class OpenTables {
public:
    static constexpr unsigned Partitions = 256;
    static constexpr unsigned Meta = Partitions; // behind those of the partitions

    /** Null when it was not added. */
    BDBIndex* find(const QByteArray& filePart, unsigned database) const
    {
        const std::lock_guard lock(mutex_);
        const auto table = tables_.constFind(filePart);
        return table != tables_.constEnd() ? (*table)[database] : nullptr;
    }

    /** Forgets all databases of a table. The caller ensures that nobody uses them. */
    void remove(const QByteArray& filePart)
    {
        const std::lock_guard lock(mutex_);
        tables_.remove(filePart);
    }

    void add(const QByteArray& filePart, unsigned database, BDBIndex* index)
    {
        const std::lock_guard lock(mutex_);
        tables_[filePart][database] = index;
    }

    /** The file parts with an open database, in order. */
    QByteArrayList names() const
    {
        QByteArrayList names;
        {
            const std::lock_guard lock(mutex_);
            names = tables_.keys();
        }
        std::sort(names.begin(), names.end());
        return names;
    }

private:
    using Databases = std::array<BDBIndex*, std::size_t{Partitions} + 1>; // not owned

    mutable std::mutex mutex_;
    QHash<QByteArray, Databases> tables_; // guarded by mutex_
};

#endif
