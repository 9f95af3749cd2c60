#ifndef QUORVA_TESTS_RECORDS_LOCKS_H
#define QUORVA_TESTS_RECORDS_LOCKS_H

#include "rawrecords.h"
#include "storage/bdbenv.h"
#include "storage/bdbindex.h"
#include "storage/bdbtxn.h"

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <thread>

/** A transaction that holds a lock on a record for the lifetime of this object. */
class HeldLock {
public:
    enum Kind { Read, Write };

    HeldLock(BDBEnv* env, BDBIndex* db, const QByteArray& key, Kind kind)
    {
        EXPECT_EQ(txn_.begin(env, 0), 0);
        Dbt keyDbt = dbtOf(key);
        Dbt data;
        data.set_flags(DB_DBT_MALLOC);
        EXPECT_EQ(db->get(&txn_, &keyDbt, &data, kind == Write ? DB_RMW : 0), 0);
        std::free(data.get_data());
    }
    HeldLock(const HeldLock&) = delete;
    HeldLock& operator=(const HeldLock&) = delete;

private:
    BDBTxn txn_;
};

/**
 * Makes Berkeley DB soon give up waiting for a lock that another transaction holds, with DB_LOCK_DEADLOCK, as for the
 * loser of a deadlock. A lock that nobody else holds is granted as usual.
 */
class ExpiringLocks {
public:
    explicit ExpiringLocks(BDBEnv* env) : env_(env)
    {
        EXPECT_EQ(env_->set_timeout(1000, DB_SET_LOCK_TIMEOUT), 0); // microseconds
        // Berkeley DB looks for expired waits only on request.
        looking_ = std::thread([this] {
            while (!stop_) {
                EXPECT_EQ(env_->lock_detect(0, DB_LOCK_EXPIRE, nullptr), 0);
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        });
    }
    ~ExpiringLocks()
    {
        stop_ = true;
        looking_.join();
        EXPECT_EQ(env_->set_timeout(0, DB_SET_LOCK_TIMEOUT), 0);
    }
    ExpiringLocks(const ExpiringLocks&) = delete;
    ExpiringLocks& operator=(const ExpiringLocks&) = delete;

    /** How many waits have timed out in this environment. */
    std::size_t count() const
    {
        DB_LOCK_STAT* statistics = nullptr;
        EXPECT_EQ(env_->lock_stat(&statistics, 0), 0);
        const auto timeouts = static_cast<std::size_t>(statistics->st_nlocktimeouts);
        std::free(statistics);
        return timeouts;
    }

private:
    BDBEnv* env_;
    std::atomic<bool> stop_{false};
    std::thread looking_;
};

#endif
