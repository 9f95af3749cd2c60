#ifndef QUORVA_TESTS_STORAGE_BDBTXNFIXTURE_H
#define QUORVA_TESTS_STORAGE_BDBTXNFIXTURE_H

#include "rows.h"
#include "storage/bdbtxn.h"
#include "support/tempenv.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>

/** An environment with one database, and transactions that write to it. */
class BDBTxnTest : public testing::Test {
protected:
    DB_TXN_STAT transactions()
    {
        DB_TXN_STAT* statistics = nullptr;
        EXPECT_EQ(env_->txn_stat(&statistics, 0), 0);
        const DB_TXN_STAT copy = *statistics;
        std::free(statistics);
        return copy;
    }

    /** True when all of the log is on disk. The environment's own threads write to the log as well. */
    bool everythingIsOnDisk()
    {
        DB_LOG_STAT* statistics = nullptr;
        EXPECT_EQ(env_->log_stat(&statistics, 0), 0);
        const bool same = statistics->st_cur_file == statistics->st_disk_file &&
                          statistics->st_cur_offset == statistics->st_disk_offset;
        std::free(statistics);
        return same;
    }

    /** Begins a transaction and writes one row in it. */
    std::unique_ptr<BDBTxn> begunTxn()
    {
        auto txn = std::make_unique<BDBTxn>();
        EXPECT_EQ(txn->begin(env_.get(), 0), 0);
        EXPECT_EQ(putRow(index_, txn.get(), "key", "value"), 0);
        return txn;
    }

    TempEnv env_;
    BDBIndex* const index_ = env_.index("orders");
};

#endif
