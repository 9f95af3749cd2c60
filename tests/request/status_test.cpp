/* The members of a Status that come from Berkeley DB, compared with Berkeley DB's own statistics. */
#include "format/tablename.h"
#include "requestbench.h"
#include "storage/bdbenv.h"
#include "storage/bdbindex.h"
#include "storage/bdbtxn.h"
#include "support/background.h"
#include "support/lockwaits.h"
#include "support/waituntil.h"

#include <cstdlib>
#include <future>

namespace {

using Figures = std::map<std::string, std::uint64_t>;

class EngineStatus : public testing::Test {
protected:
    /** Has the table's database read from its file, and opens the environment for itself. */
    void SetUp() override
    {
        ASSERT_EQ(bench_.createTable().status, StatusSuccess);
        for (const char* range : {"1", "2"})
            ASSERT_EQ(bench_.run("PutItem", merged(table_, {{"Item", itemOf(range)}})).status, StatusSuccess);
        ASSERT_EQ(bench_.run("DeleteTable", table_).status, StatusSuccess);
        ASSERT_EQ(bench_.run("GetItem", merged(table_, {{"Key", itemKey("abc", "1")}})).status, StatusSuccess);
        bench_.openEnvironment(&use_);
        items_ = RequestBench::openDatabase(env(), "t_98.db", TableNames::DataSubDatabase);
        schema_ = RequestBench::openDatabase(env(), "t", TableNames::MetaSubDatabase);
    }

    static QVariantMap itemOf(const QString& range)
    {
        return {{"h", textValue("abc")}, {"r", textValue(range)}, {"a", textValue(QString(1000, 'x'))}};
    }

    BDBEnv* env() const { return use_.env(); }

    int put(BDBIndex* db, BDBTxn* txn, QByteArray key)
    {
        QByteArray value(1500, 'x'); // most of a page
        Dbt keyData(key.data(), static_cast<u_int32_t>(key.size()));
        Dbt valueData(value.data(), static_cast<u_int32_t>(value.size()));
        return db->put(txn, &keyData, &valueData, 0);
    }

    /** One wait that succeeds, and one that is a deadlock. */
    void waitAndDeadlock()
    {
        BDBTxn first;
        BDBTxn second;
        ASSERT_EQ(first.begin(env(), 0), 0);
        ASSERT_EQ(second.begin(env(), 0), 0);
        ASSERT_EQ(put(items_, &first, "a"), 0);
        ASSERT_EQ(put(schema_, &second, "b"), 0);
        const std::uintmax_t before = lockWaits(env());
        auto waiting = inBackground([&] { return put(schema_, &first, "b"); });
        ASSERT_TRUE(waitUntil([&] { return lockWaits(env()) == before + 1; }));
        EXPECT_EQ(put(items_, &second, "a"), DB_LOCK_DEADLOCK);
        EXPECT_EQ(second.abort(), 0);
        EXPECT_EQ(waiting.get(), 0);
        EXPECT_EQ(first.abort(), 0);
    }

    /** Berkeley DB's statistics of its cache and its locks. */
    Figures engineFigures()
    {
        DB_MPOOL_STAT* cache = nullptr;
        DB_LOCK_STAT* locks = nullptr;
        EXPECT_EQ(env()->memp_stat(&cache, nullptr, 0), 0);
        EXPECT_EQ(env()->lock_stat(&locks, 0), 0);
        const Figures figures{{"Bytes", cache->st_bytes},           {"Pages", cache->st_pages},
                              {"DirtyPages", cache->st_page_dirty}, {"Hits", cache->st_cache_hit},
                              {"Misses", cache->st_cache_miss},     {"Waits", locks->st_lock_wait},
                              {"Deadlocks", locks->st_ndeadlocks}};
        std::free(cache);
        std::free(locks);
        return figures;
    }

    Figures statusFigures()
    {
        const Outcome status = bench_.run("Quorva_1.Status", {});
        const QVariantList environments = status.reply.value("Environments").toList();
        EXPECT_EQ(environments.size(), 1);
        Figures figures;
        for (const char* part : {"Cache", "Locks"}) {
            const QVariantMap members = environments.front().toMap().value(part).toMap();
            for (auto member = members.cbegin(); member != members.cend(); ++member)
                figures[member.key().toStdString()] = member->toULongLong();
        }
        return figures;
    }

    RequestBench bench_;
    const QVariantMap table_{{"TableName", bench_.tableName()}};
    EnvironmentUse use_;
    BDBIndex* items_ = nullptr;
    BDBIndex* schema_ = nullptr;
};

TEST_F(EngineStatus, HasBerkeleyDbsFigures)
{
    ASSERT_NO_FATAL_FAILURE(waitAndDeadlock());
    // Other threads use the cache as well, and write dirty pages to disk: retried until none has interfered.
    BDBTxn unfinished;
    ASSERT_EQ(unfinished.begin(env(), 0), 0);
    Figures expected;
    Figures found;
    int written = 0;
    EXPECT_TRUE(waitUntil([&] {
        EXPECT_EQ(put(items_, &unfinished, "more " + QByteArray::number(++written)), 0);
        expected = engineFigures();
        found = statusFigures();
        return found == expected && engineFigures() == expected && found["DirtyPages"] > 0 &&
               found["Pages"] > found["Misses"];
    })) << testing::PrintToString(found)
        << " instead of " << testing::PrintToString(expected);
    EXPECT_EQ(unfinished.abort(), 0);
    // All differ, so that none can be mistaken for another.
    const std::set<std::uint64_t> cache{found["Bytes"], found["Pages"], found["DirtyPages"], found["Hits"],
                                        found["Misses"]};
    EXPECT_EQ(cache.size(), 5U) << testing::PrintToString(found);
    EXPECT_GT(found["Misses"], 0U) << "the table was read from its files";
    EXPECT_EQ(found["Deadlocks"], 1U);
    EXPECT_EQ(found["Waits"], 2U) << "the one that ended well, too";
}

} // namespace
