#ifndef QUORVA_TESTS_RECORDS_PAUSEDWALK_H
#define QUORVA_TESTS_RECORDS_PAUSEDWALK_H

#include "storage/bdbtxn.h"
#include "support/deadline.h"
#include "support/lockwaits.h"
#include "support/waituntil.h"
#include "walkfixture.h"

#include <cstdlib>
#include <functional>
#include <thread>

/** Walks that are paused midway: a transaction holds a record that they reach. */
class PausedWalkTest : public WalkTest {
protected:
    static constexpr int Count = 300; // records of the hash key "a", on many pages

    static Bytes rangeAt(int n) { return Bytes::number(1000 + n); }

    void SetUp() override
    {
        for (int n = 0; n < Count; ++n)
            put({"a", rangeAt(n)});
    }

    /** Reads a record in `txn`, with DB_RMW to write it later. Returns Berkeley DB's result. */
    int read(BDBTxn* txn, int n, u_int32_t flags)
    {
        const Bytes key = Records::recordKey("a", rangeAt(n));
        Dbt keyDbt = dbtOf(key);
        Dbt data;
        data.set_flags(DB_DBT_MALLOC);
        const int rc = db()->get(txn, &keyDbt, &data, flags);
        std::free(data.get_data());
        return rc;
    }

    /** Overwrites a record in a transaction that does not wait: DB_LOCK_DEADLOCK if its page is locked. */
    int writeWithoutWaiting(int n, const Bytes& value)
    {
        BDBTxn txn;
        EXPECT_EQ(txn.begin(env_.env(), DB_TXN_NOWAIT), 0);
        const Bytes key = Records::recordKey("a", rangeAt(n));
        Dbt keyDbt = dbtOf(key);
        Dbt data = dbtOf(value);
        const int rc = db()->put(&txn, &keyDbt, &data, 0);
        return txn.finish(rc);
    }

    /** The first record, in the direction from `from` to `to`, that is not locked for writing. */
    int lastReadable(int from, int to)
    {
        for (int n = from; n != to; n += from < to ? 1 : -1) {
            BDBTxn txn;
            EXPECT_EQ(txn.begin(env_.env(), DB_TXN_NOWAIT), 0);
            if (read(&txn, n, 0) == 0)
                return n;
        }
        return to;
    }

    /** A walk on its own thread that waits for the page of the record `stop`, which a transaction holds. */
    class PausedWalk {
    public:
        PausedWalk(PausedWalkTest& test, const std::function<int(BDBEnv*)>& walk, int stop)
            : test_(test), connection_(test.env_.registry())
        {
            EXPECT_EQ(writer_.begin(test.env_.env(), 0), 0); // before the walk's, so that it is the older one
            lockAsWell(stop);
            const std::uintmax_t before = lockWaits(test.env_.env());
            EXPECT_EQ(connection_.context().envLookup(test.env_.tableName(), 1), 0);
            walker_ = std::thread([this, walk] { result_ = walk(connection_.context().env()); });
            EXPECT_TRUE(waitUntil([&] { return lockWaits(test.env_.env()) > before; }));
        }
        ~PausedWalk()
        {
            if (walker_.joinable())
                (void)goOn();
        }
        PausedWalk(const PausedWalk&) = delete;
        PausedWalk& operator=(const PausedWalk&) = delete;

        /** Makes the transaction lock the page of one more record, waiting for it if necessary. */
        void lockAsWell(int n) { EXPECT_EQ(test_.read(&writer_, n, DB_RMW), 0); }

        /** Overwrites a record in the transaction. */
        void write(int n, const Bytes& value)
        {
            const Bytes key = Records::recordKey("a", rangeAt(n));
            Dbt keyDbt = dbtOf(key);
            Dbt data = dbtOf(value);
            EXPECT_EQ(test_.db()->put(&writer_, &keyDbt, &data, 0), 0);
        }

        /** Commits the writes and lets the walk continue. Returns its result. */
        [[nodiscard]] int commitAndGoOn()
        {
            EXPECT_EQ(writer_.commit(0), 0);
            writerEnded_ = true;
            return result();
        }

        /** Lets the walk continue. Returns its result. */
        [[nodiscard]] int goOn()
        {
            EXPECT_EQ(writer_.abort(), 0);
            writerEnded_ = true;
            return result();
        }

        /** The walk's result, once it has ended. */
        [[nodiscard]] int result()
        {
            walker_.join();
            EXPECT_EQ(writer_.abort(), writerEnded_ ? 12 : 0);
            writerEnded_ = true;
            return result_;
        }

    private:
        PausedWalkTest& test_;
        TestConnection connection_;
        BDBTxn writer_;
        bool writerEnded_ = false;
        std::thread walker_;
        int result_ = -1;
    };

private:
    const Deadline deadline_{std::chrono::minutes(2)}; // for deadlocks that Berkeley DB cannot detect
};

#endif
