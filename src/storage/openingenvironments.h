#ifndef QUORVA_STORAGE_OPENINGENVIRONMENTS_H
#define QUORVA_STORAGE_OPENINGENVIRONMENTS_H

#include <QHash>
#include <QString>

#include <condition_variable>
#include <memory>
#include <mutex>

/**
 * The registry names of environments that are being opened, which takes long after a crash. Other requests for one of
 * them wait for that open and share its result: if each retried a failed open, they would do so one after the other.
 * Synchronizes internally; its mutex comes after a registry's in the lock order.
 */
class OpeningEnvironments {
public:
    /** One per process: a directory is opened once, however many registries there are. */
    static OpeningEnvironments& instance()
    {
        static OpeningEnvironments opening;
        return opening;
    }

    struct Opening {
        bool done = false; // both guarded by mutex_
        int result = 0;    // of BDBEnv::open()
    };

    /** Null: nobody was opening `name`; the caller does, until it calls finish(). */
    std::shared_ptr<const Opening> joinOrBegin(const QString& name)
    {
        const std::lock_guard lock(mutex_);
        if (const auto found = openings_.value(name))
            return found;
        openings_.insert(name, std::make_shared<Opening>());
        return nullptr;
    }

    /** The open of `name` in progress, or null. */
    std::shared_ptr<const Opening> find(const QString& name) const
    {
        const std::lock_guard lock(mutex_);
        return openings_.value(name);
    }

    void finish(const QString& name, int result)
    {
        const std::lock_guard lock(mutex_);
        const std::shared_ptr<Opening> opening = openings_.take(name);
        opening->done = true;
        opening->result = result;
        changed_.notify_all();
    }

    int waitFor(const std::shared_ptr<const Opening>& opening)
    {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return opening->done; });
        return opening->result;
    }

private:
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    QHash<QString, std::shared_ptr<Opening>> openings_; // guarded by mutex_
};

#endif
