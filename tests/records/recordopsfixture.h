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

/** getDb for tests that want the item, not its text. `item` is changed only on 0. */
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

/** putDb for tests that have the item, not its text. With `returnOld`, `item` then holds the item it replaced. */
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

/** A database of items in a real environment. Each test ends by checking that no transaction was left open. */
class RecordOps : public testing::Test {
protected:
    RecordOps() : db_(tables_.index()) {}

    void TearDown() override { EXPECT_EQ(activeTransactions(), 0u); }

    BDBEnv* env() { return tables_.env(); }

    std::size_t activeTransactions() { return statistics(&BDBEnv::txn_stat).st_nactive; }
    /** How many transactions have been aborted. */
    std::size_t aborts() { return statistics(&BDBEnv::txn_stat).st_naborts; }
    std::size_t begunTransactions() { return statistics(&BDBEnv::txn_stat).st_nbegins; }
    std::size_t heldLocks() { return statistics(&BDBEnv::lock_stat).st_nlocks; }
    /** How many times a lock has been requested, granted or not. */
    std::size_t lockRequests() { return statistics(&BDBEnv::lock_stat).st_nrequests; }
    /** How many times the log has been written to disk. */
    std::size_t logWrites() { return statistics(&BDBEnv::log_stat).st_wcount; }

    /** As TableEnv::settle(). */
    void settle()
    {
        ASSERT_NO_FATAL_FAILURE(tables_.settle());
        db_ = tables_.index();
    }

    void store(const QByteArray& text) { rawPut(db_, key_, text); }
    std::optional<QByteArray> stored() { return rawGet(db_, key_); }

    /** An item whose stored text has exactly `size` bytes. */
    static QByteArray textOfSize(qsizetype size)
    {
        const QByteArray front = R"({"a":{"S":")";
        const QByteArray back = R"("}})";
        return front + QByteArray(size - front.size() - back.size(), 'v') + back;
    }

    /** The lines without those in which Berkeley DB itself or a thread of the environment reports a failure. */
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

private:
    /** A structure of counters that the environment keeps. */
    template <typename Statistics> Statistics statistics(int (DbEnv::*read)(Statistics**, u_int32_t))
    {
        Statistics* counters = nullptr;
        EXPECT_EQ((env()->*read)(&counters, 0), 0);
        const Statistics copy = *counters;
        std::free(counters);
        return copy;
    }
};

class PutDb : public RecordOps {
protected:
    /** Writes `item_` in a transaction of its own. */
    int put(const QByteArray& expected = QByteArray(), bool returnOld = false)
    {
        const QVariantMap conditions = expected.isNull() ? QVariantMap() : json(expected);
        return writeItem(env(), db_, key_, &item_, expected.isNull() ? nullptr : &conditions, returnOld);
    }

    QVariantMap item_ = json(R"({"a":{"S":"new"}})");
    const QVariantMap before_ = item_;
    const QByteArray newText_ = R"({"a":{"S":"new"}})";
    const QByteArray oldText_ = R"({"a":{"S":"old"},"b":{"N":"1"}})";
};

class DeleteDb : public RecordOps {
protected:
    int del(const QByteArray& expected = QByteArray(), bool returnOld = false)
    {
        const QVariantMap conditions = expected.isNull() ? QVariantMap() : json(expected);
        return Records::deleteDb(env(), db_, key_, expected.isNull() ? nullptr : &conditions,
                                 returnOld ? &old_ : nullptr);
    }

    QVariantMap old_ = json(R"({"before":{"S":"call"}})");
    const QVariantMap before_ = old_;
    const QByteArray text_ = R"({"a":{"S":"x"},"b":{"N":"1"}})";
};

class UpdateDb : public RecordOps {
protected:
    /** Null texts stand for missing arguments. */
    int update(const QByteArray& updates, const QByteArray& returnValues = QByteArray(),
               const QByteArray& expected = QByteArray())
    {
        const QVariantMap conditions = expected.isNull() ? QVariantMap() : json(expected);
        return Records::updateDb(env(), db_, key_, json(updates), expected.isNull() ? nullptr : &conditions,
                                 returnValues.isNull() ? nullptr : &returnValues, &result_);
    }

    QVariantMap result_ = json(R"({"before":{"S":"call"}})");
    const QVariantMap before_ = result_;
    const QByteArray text_ = R"({"a":{"S":"x"},"n":{"N":"40"}})";
    const QByteArray putA_ = R"({"a":{"Action":"PUT","Value":{"S":"y"}}})";
};

/**
 * During its lifetime, Berkeley DB fails all writes to and deletes from a database with EACCES: a secondary index on it
 * rejects every record. Reads still work, including those that take a write lock.
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
 * During its lifetime, Berkeley DB fails every call in an environment, as after a fatal error. Needs a settled
 * environment.
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

/** Sets the flags of all commits during its lifetime. */
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
