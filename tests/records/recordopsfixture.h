#ifndef QUORVA_TESTS_RECORDS_RECORDOPSFIXTURE_H
#define QUORVA_TESTS_RECORDS_RECORDOPSFIXTURE_H

#include "items.h"
#include "locks.h"
#include "rawrecords.h"
#include "recordlines.h"
#include "records/encoding.h"
#include "records/itemformatter.h"
#include "records/recordops.h"
#include "records/requeststatus.h"
#include "storage/bdbtxn.h"
#include "storage/settings.h"
#include "support/tableenv.h"
#include "json/jsonreader.h"
#include "json/jsonwriter.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <optional>
#include <string>

/** getDb for a test that looks at the item and not at its text. `item` is changed only on 0. */
inline int readItem(BDBEnv* env, BDBIndex* db, const QByteArray& key, QVariantMap* item)
{
    ItemFormatter format;
    QByteArray text;
    const int rc = Records::getDb(env, db, key, &format, &text);
    QVariant value;
    if (rc == 0 && Json::parse(text, &value))
        *item = value.toMap();
    return rc;
}

/** putDb for a test that has the item and not its text. With `returnOld` the item is then the one that it replaced. */
inline int writeItem(BDBEnv* env, BDBIndex* db, const QByteArray& key, QVariantMap* item, const QVariantMap* expected,
                     bool returnOld)
{
    return Records::putDb(env, db, key, Json::serialize(*item), expected, returnOld ? item : nullptr);
}

/** The same in the caller's transaction. */
inline int writeItem(BDBIndex* db, const QByteArray& key, QVariantMap* item, const QVariantMap* expected,
                     bool returnOld, BDBTxn* txn)
{
    return Records::putDb(db, key, Json::serialize(*item), expected, returnOld ? item : nullptr, txn);
}

/** A database of items in a real environment. Every test ends with the check that no transaction was left open. */
class RecordOps : public testing::Test {
protected:
    RecordOps() : db_(tables_.index()) {}

    void TearDown() override { EXPECT_EQ(activeTransactions(), 0u); }

    BDBEnv* env() { return tables_.env(); }

    unsigned activeTransactions()
    {
        DB_TXN_STAT* statistics = nullptr;
        EXPECT_EQ(env()->txn_stat(&statistics, 0), 0);
        const unsigned active = statistics->st_nactive;
        std::free(statistics);
        return active;
    }

    /** How many transactions were aborted so far. */
    std::size_t aborts()
    {
        DB_TXN_STAT* statistics = nullptr;
        EXPECT_EQ(env()->txn_stat(&statistics, 0), 0);
        const std::size_t aborted = statistics->st_naborts;
        std::free(statistics);
        return aborted;
    }

    /** How often a lock was asked for, granted or not. */
    std::size_t lockRequests()
    {
        DB_LOCK_STAT* statistics = nullptr;
        EXPECT_EQ(env()->lock_stat(&statistics, 0), 0);
        const std::size_t requests = statistics->st_nrequests;
        std::free(statistics);
        return requests;
    }

    /** How often the log was written to disk. */
    std::size_t logWrites()
    {
        DB_LOG_STAT* statistics = nullptr;
        EXPECT_EQ(env()->log_stat(&statistics, 0), 0);
        const std::size_t writes = statistics->st_wcount;
        std::free(statistics);
        return writes;
    }

    /**
     * Opens the environment anew and waits until its first checkpoint is over: the checkpoint writes to the log, and
     * the process ends when it fails.
     */
    void settle()
    {
        const LogCapture log(LogInfo);
        tables_.reopen();
        db_ = tables_.index();
        ASSERT_TRUE(log.waitFor("Done txn_checkpoint"));
    }

    void store(const QByteArray& text) { rawPut(db_, key_, text); }
    std::optional<QByteArray> stored() { return rawGet(db_, key_); }

    /** An item whose stored text has exactly this many bytes. */
    static QByteArray textOfSize(qsizetype size)
    {
        const QByteArray front = R"({"a":{"S":")";
        const QByteArray back = R"("}})";
        return front + QByteArray(size - front.size() - back.size(), 'v') + back;
    }

    /** The lines without the ones in which Berkeley DB itself, or a thread of the environment, reports a failure. */
    static Lines ownLines(const LogCapture& log)
    {
        Lines lines = recordLines(log);
        std::erase_if(lines, [](const std::string& line) {
            return line.rfind("[ERROR] bdb # BDB: ", 0) == 0 || line.rfind("[ERROR] bdb # cache flusher", 0) == 0;
        });
        return lines;
    }

    TableEnv tables_;
    BDBIndex* db_;
    const QByteArray key_ = Records::recordKey("hash", "range");
    const std::string keyText_ = "0004hashrange";
};

/**
 * While it lives, Berkeley DB refuses with EACCES to write to a database and to delete what is in it: an index over the
 * records is kept that accepts none. Reads go on, those that take a write lock as well.
 */
class RefusedWrites {
public:
    RefusedWrites(BDBEnv* env, BDBIndex* db) : index_(env, DB_CXX_NO_EXCEPTIONS)
    {
        EXPECT_EQ(index_.open("refused.db", "index", DB_BTREE, DB_CREATE | DB_THREAD | DB_AUTO_COMMIT), 0);
        EXPECT_EQ(db->associate(nullptr, &index_, refuse, 0), 0);
    }
    ~RefusedWrites() { EXPECT_EQ(index_.close(0), 0); }
    RefusedWrites(const RefusedWrites&) = delete;
    RefusedWrites& operator=(const RefusedWrites&) = delete;

private:
    static int refuse(Db*, const Dbt*, const Dbt*, Dbt*) { return EACCES; }

    BDBIndex index_;
};

/**
 * Makes Berkeley DB refuse everything in an environment while this object lives, as it does after a fatal error. Wants
 * a settled environment.
 */
class Panic {
public:
    explicit Panic(BDBEnv* env) : env_(env) { EXPECT_EQ(env_->set_flags(DB_PANIC_ENVIRONMENT, 1), 0); }
    ~Panic() { EXPECT_EQ(env_->set_flags(DB_PANIC_ENVIRONMENT, 0), 0); }
    Panic(const Panic&) = delete;
    Panic& operator=(const Panic&) = delete;

private:
    BDBEnv* env_;
};

/** The flags of every commit while this object lives. */
class CommitFlags {
public:
    explicit CommitFlags(std::uint32_t flags) : before_(Settings::txnCommitFlags())
    {
        Settings::setTxnCommitFlags(flags);
    }
    ~CommitFlags() { Settings::setTxnCommitFlags(before_); }
    CommitFlags(const CommitFlags&) = delete;
    CommitFlags& operator=(const CommitFlags&) = delete;

private:
    std::uint32_t before_;
};

#endif
