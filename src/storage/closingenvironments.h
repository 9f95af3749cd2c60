#ifndef QUORVA_STORAGE_CLOSINGENVIRONMENTS_H
#define QUORVA_STORAGE_CLOSINGENVIRONMENTS_H

#include <QSet>
#include <QString>

#include <condition_variable>
#include <mutex>

/**
 * The registry names of environments that were removed from the registry and are being closed. Their directories must
 * not be opened until that is done. Synchronizes internally; its mutex comes after a registry's in the lock order.
 */
class ClosingEnvironments {
public:
    /** One per process: a directory is closed once, however many registries there are. */
    static ClosingEnvironments& instance()
    {
        static ClosingEnvironments closing;
        return closing;
    }

    void add(const QSet<QString>& names)
    {
        const std::lock_guard lock(mutex_);
        names_.unite(names);
    }

    void remove(const QSet<QString>& names)
    {
        const std::lock_guard lock(mutex_);
        names_.subtract(names);
        changed_.notify_all();
    }

    bool contains(const QString& name) const
    {
        const std::lock_guard lock(mutex_);
        return names_.contains(name);
    }

    void waitFor(const QString& name)
    {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return !names_.contains(name); });
    }

private:
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    QSet<QString> names_; // guarded by mutex_
};

#endif
