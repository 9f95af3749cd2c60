#include "records/schema.h"

#include "items.h"
#include "locks.h"
#include "rawrecords.h"
#include "recordlines.h"
#include "records/encoding.h"
#include "records/recordops.h"
#include "records/requeststatus.h"
#include "storage/deadlockretry.h"
#include "support/tableenv.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

namespace {

const QByteArray goodSchema = R"({"HashKeyElement":{"AttributeName":"id","AttributeType":"S"},)"
                              R"("RangeKeyElement":{"AttributeName":"when","AttributeType":"S"}})";

class LoadSchema : public testing::Test {
protected:
    /** Stores a table description with this key schema; its text as it is stored. */
    QByteArray store(const QByteArray& keySchema)
    {
        const QByteArray text = R"({"CreationDateTime":123456,"KeySchema":)" + keySchema + R"(,"TableName":"t"})";
        storeText(text);
        return text;
    }

    void storeText(const QByteArray& text) { rawPut(tables_.index("t", "meta"), "0011tableschema", text); }

    int load(bool rawOnly = false)
    {
        return Records::loadSchema(context(), tables_.tableName(), &description_, rawOnly);
    }

    TableContext& context() { return tables_.context(); }
    const QVariantMap& hashElement() { return context().keySchema()->hash; }
    const QVariantMap& rangeElement() { return context().keySchema()->range; }

    TableEnv tables_;
    QVariantMap description_;
};

TEST_F(LoadSchema, RecordKeyIsTheLengthAndTheName)
{
    EXPECT_EQ(Records::schemaRecordKey(), "0011tableschema");
    EXPECT_EQ(Records::schemaRecordKey().size(), 15);
}

TEST_F(LoadSchema, RemembersTheKeyElements)
{
    const QByteArray text = store(goodSchema);
    const LogCapture log;
    EXPECT_EQ(load(), StatusSuccess);
    EXPECT_EQ(description_, json(text));
    ASSERT_TRUE(context().keySchema());
    EXPECT_EQ(hashElement(), json(R"({"AttributeName":"id","AttributeType":"S"})"));
    EXPECT_EQ(rangeElement(), json(R"({"AttributeName":"when","AttributeType":"S"})"));
    EXPECT_EQ(recordLines(log), Lines());
}

TEST_F(LoadSchema, ReadsWhatPutDbStored)
{
    QVariantMap description{{"KeySchema", json(goodSchema)}, {"TableName", QString("t")}};
    ASSERT_EQ(Records::putDb(tables_.env(), tables_.index("t", "meta"), Records::schemaRecordKey(),
                             Json::serialize(description), nullptr, nullptr),
              0);
    EXPECT_EQ(load(), StatusSuccess);
    EXPECT_EQ(description_, description);
}

TEST_F(LoadSchema, OpensTheEnvironmentOfTheTableName)
{
    const QByteArray text = store(goodSchema);
    context().leave();
    EXPECT_EQ(load(), StatusSuccess);
    EXPECT_EQ(description_, json(text));
    EXPECT_NE(tables_.env(), nullptr);
}

TEST_F(LoadSchema, ReadsTheMetaSubDatabaseOfTheTablesOwnFile)
{
    store(goodSchema);
    QVariantMap description;
    EXPECT_EQ(Records::loadSchema(context(), tables_.tableName("other"), &description, false), StatusNotFound);
    rawPut(tables_.index("third", "data"), "0011tableschema", R"({"KeySchema":)" + goodSchema + "}");
    EXPECT_EQ(Records::loadSchema(context(), tables_.tableName("third"), &description, false), StatusNotFound);
    EXPECT_EQ(description, QVariantMap());
}

TEST_F(LoadSchema, KeepsOtherMembersOfAnElement)
{
    store(R"({"HashKeyElement":{"AttributeName":"id","AttributeType":"S","more":1},)"
          R"("RangeKeyElement":{"AttributeName":"","AttributeType":"S"},"Third":{}})");
    EXPECT_EQ(load(), StatusSuccess);
    EXPECT_EQ(hashElement(), json(R"({"AttributeName":"id","AttributeType":"S","more":1})"));
    EXPECT_EQ(rangeElement(), json(R"({"AttributeName":"","AttributeType":"S"})"));
}

TEST_F(LoadSchema, ALoadedSchemaServesWithoutDatabaseAccess)
{
    store(goodSchema);
    ASSERT_EQ(load(), StatusSuccess);

    // Neither the record, nor the environment, nor the registry is asked.
    storeText("no JSON");
    context().leave();
    const QMutexLocker locker(&tables_.registry()->mutex());
    const LogCapture log;
    EXPECT_EQ(Records::loadSchema(context(), tables_.tableName(), nullptr, false), StatusSuccess);
    EXPECT_EQ(Records::loadSchema(context(), tables_.tableName(), nullptr, true), StatusSuccess);
    EXPECT_EQ(Records::loadSchema(context(), "missing|t", nullptr, false), StatusSuccess);
    EXPECT_EQ(tables_.env(), nullptr);
    EXPECT_EQ(recordLines(log), Lines());
}

TEST_F(LoadSchema, AskedForTheDescriptionReadsAgain)
{
    store(goodSchema);
    ASSERT_EQ(load(), StatusSuccess);
    const QByteArray changed = store(R"({"HashKeyElement":{"AttributeName":"new","AttributeType":"S"},)"
                                     R"("RangeKeyElement":{"AttributeName":"newer","AttributeType":"S"}})");
    EXPECT_EQ(load(), StatusSuccess);
    EXPECT_EQ(description_, json(changed));
    EXPECT_EQ(hashElement().value("AttributeName"), "new");
    EXPECT_EQ(rangeElement().value("AttributeName"), "newer");
}

TEST_F(LoadSchema, AMissingRecordIsNotFound)
{
    for (const bool rawOnly : {false, true}) {
        const LogCapture log;
        EXPECT_EQ(load(rawOnly), StatusNotFound);
        EXPECT_EQ(recordLines(log), (Lines{"[ERROR] bdbrequest # schema load failed rc 3"}));
        EXPECT_EQ(description_, QVariantMap());
        EXPECT_FALSE(context().keySchema());
    }
}

TEST_F(LoadSchema, ARecordThatIsNoJsonIsAnInternalError)
{
    for (const QByteArray text : {"no JSON", "", "{", R"({"KeySchema":{}} x)"}) {
        storeText(text);
        const LogCapture log;
        EXPECT_EQ(load(), StatusInternalError) << text.toStdString();
        EXPECT_EQ(recordLines(log),
                  (Lines{"[ERROR] bdbrequest # parser error", "[ERROR] bdbrequest # schema load failed rc 2"}))
            << text.toStdString();
        EXPECT_EQ(description_, QVariantMap());
        EXPECT_FALSE(context().keySchema());
    }
}

TEST_F(LoadSchema, OtherBerkeleyDbErrorsAreHandedOn)
{
    storeText('"' + QByteArray(600000, 'x') + '"'); // longer than what can be read
    const LogCapture log;
    EXPECT_EQ(load(), DB_BUFFER_SMALL);
    EXPECT_EQ(recordLines(log), (Lines{"[ERROR] bdbrequest # dbindex get failed for 0011tableschema rc -30999",
                                       "[ERROR] bdbrequest # schema load failed rc -30999"}));
    EXPECT_FALSE(context().keySchema());
}

TEST_F(LoadSchema, AnEnvironmentThatCannotBeOpenedIsHandedOn)
{
    const std::string missing = tables_.directory().file("missing");
    const LogCapture log;
    EXPECT_EQ(Records::loadSchema(context(), QByteArray::fromStdString(missing) + "|t", &description_, false),
              StatusNotFound);
    EXPECT_EQ(recordLines(log), (Lines{"[CRIT] bdb # Failed to open env path: " + missing + " id env::" + missing +
                                       " rc " + std::to_string(ENOENT)}));
}

TEST_F(LoadSchema, ADatabaseThatCannotBeOpenedIsHandedOn)
{
    tables_.directory().makeDirectory("t");
    const LogCapture log;
    EXPECT_EQ(load(), 12);
    const Lines lines = recordLines(log);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back(),
              "[CRIT] bdb # Failed to open DB dbpath: t dbname meta rc " + std::to_string(EISDIR) + " flags 289");
}

TEST_F(LoadSchema, RefusesAKeySchemaThatIsNotTwoStrings)
{
    const QByteArray goodHash = R"({"AttributeName":"id","AttributeType":"S"})";
    struct Case {
        QByteArray keySchema;
        int rc1, rc2;
    };
    const Case cases[] = {
        {"{}", 2, 2},
        {"null", 2, 2},
        {R"("text")", 2, 2},
        {"[]", 2, 2},
        {R"({"HashKeyElement":)" + goodHash + "}", 0, 2},
        {R"({"RangeKeyElement":)" + goodHash + "}", 2, 0},
        {R"({"HashKeyElement":)" + goodHash + R"(,"RangeKeyElement":{"AttributeName":"when","AttributeType":"N"}})", 0,
         2},
        {R"({"HashKeyElement":)" + goodHash + R"(,"RangeKeyElement":{"AttributeName":"when","AttributeType":"B"}})", 0,
         2},
        {R"({"HashKeyElement":)" + goodHash + R"(,"RangeKeyElement":{"AttributeName":"when","AttributeType":"s"}})", 0,
         2},
        {R"({"HashKeyElement":)" + goodHash + R"(,"RangeKeyElement":{"AttributeName":"when","AttributeType":"SS"}})", 0,
         2},
        {R"({"HashKeyElement":)" + goodHash + R"(,"RangeKeyElement":{"AttributeName":"when","AttributeType":null}})", 0,
         2},
        {R"({"HashKeyElement":)" + goodHash + R"(,"RangeKeyElement":{"AttributeName":"when"}})", 0, 2},
        {R"({"HashKeyElement":)" + goodHash + R"(,"RangeKeyElement":{"AttributeType":"S"}})", 0, 2},
        {R"({"HashKeyElement":)" + goodHash + R"(,"RangeKeyElement":{}})", 0, 2},
        {R"({"HashKeyElement":)" + goodHash + R"(,"RangeKeyElement":null})", 0, 2},
        {R"({"HashKeyElement":)" + goodHash + R"(,"RangeKeyElement":"when"})", 0, 2},
        {R"({"RangeKeyElement":)" + goodHash + R"(,"HashKeyElement":{"AttributeName":"id","AttributeType":"N"}})", 2,
         0},
        {R"({"RangeKeyElement":)" + goodHash + R"(,"HashKeyElement":{"AttributeName":"id"}})", 2, 0},
        {R"({"RangeKeyElement":)" + goodHash + R"(,"HashKeyElement":{"AttributeType":"S"}})", 2, 0},
        {R"({"HashKeyElement":{"AttributeName":"a","AttributeType":"N"},)"
         R"("RangeKeyElement":{"AttributeName":"b","AttributeType":"N"}})",
         2, 2},
        {R"({"hashkeyelement":)" + goodHash + R"(,"rangekeyelement":)" + goodHash + "}", 2, 2},
    };
    for (const Case& c : cases) {
        const QByteArray text = store(c.keySchema);
        description_.clear();
        const LogCapture log;
        EXPECT_EQ(load(), StatusNotFound) << c.keySchema.toStdString();
        EXPECT_EQ(recordLines(log), (Lines{"[ERROR] bdbrequest # wrond key rc1 " + std::to_string(c.rc1) + " rc2 " +
                                           std::to_string(c.rc2)}))
            << c.keySchema.toStdString();
        EXPECT_EQ(description_, json(text)) << c.keySchema.toStdString();
        EXPECT_FALSE(context().keySchema()) << c.keySchema.toStdString();
    }
}

TEST_F(LoadSchema, ADescriptionWithoutAKeySchemaIsRefused)
{
    for (const QByteArray text : {"{}", R"({"TableName":"t"})", "5", "[]", R"("text")"}) {
        storeText(text);
        const LogCapture log;
        EXPECT_EQ(load(), StatusNotFound) << text.toStdString();
        EXPECT_EQ(recordLines(log), (Lines{"[ERROR] bdbrequest # wrond key rc1 2 rc2 2"})) << text.toStdString();
        EXPECT_FALSE(context().keySchema());
    }
}

TEST_F(LoadSchema, AFailureKeepsTheSchemaThatWasThere)
{
    store(goodSchema);
    ASSERT_EQ(load(), StatusSuccess);
    for (const QByteArray keySchema : {R"({"HashKeyElement":{"AttributeName":"other","AttributeType":"S"},)"
                                       R"("RangeKeyElement":{"AttributeName":"n","AttributeType":"N"}})",
                                       R"({"HashKeyElement":{"AttributeName":"other","AttributeType":"S"}})"}) {
        store(keySchema);
        EXPECT_EQ(load(), StatusNotFound) << keySchema.toStdString();
        EXPECT_EQ(hashElement().value("AttributeName"), "id");
        EXPECT_EQ(rangeElement().value("AttributeName"), "when");
    }
}

TEST_F(LoadSchema, RawOnlyChecksAndRemembersNothing)
{
    for (const QByteArray& keySchema :
         {QByteArray("{}"), QByteArray("5"), goodSchema, QByteArray(R"({"HashKeyElement":{"AttributeName":"id"}})")}) {
        const QByteArray text = store(keySchema);
        const LogCapture log;
        EXPECT_EQ(load(true), StatusSuccess) << keySchema.toStdString();
        EXPECT_EQ(description_, json(text));
        EXPECT_FALSE(context().keySchema());
        EXPECT_EQ(recordLines(log), Lines());
    }
}

TEST_F(LoadSchema, RawOnlyLeavesALoadedSchemaAlone)
{
    store(goodSchema);
    ASSERT_EQ(load(), StatusSuccess);
    const QByteArray text = store("{}");
    EXPECT_EQ(load(true), StatusSuccess);
    EXPECT_EQ(description_, json(text));
    ASSERT_TRUE(context().keySchema());
    EXPECT_EQ(hashElement().value("AttributeName"), "id");
}

/** Descriptions that are kept with the environment. */
class KeptDescription : public LoadSchema {
protected:
    static QByteArray numbered(int number)
    {
        return R"({"CreationDateTime":)" + QByteArray::number(number) + R"(,"KeySchema":)" + goodSchema + '}';
    }

    /** The number in the description that a new request gets; -1 on failure. */
    int loadedNumber(const QByteArray& table, bool rawOnly = false)
    {
        TestConnection connection(tables_.registry());
        QVariantMap description;
        const int rc = Records::loadSchema(connection.context(), tables_.tableName(table), &description, rawOnly);
        EXPECT_EQ(connection.context().keySchema().has_value(), rc == 0 && !rawOnly);
        return rc == 0 ? description.value("CreationDateTime").toInt() : -1;
    }

    int put(const QByteArray& table, int number)
    {
        TestConnection connection(tables_.registry());
        BDBIndex* meta = nullptr;
        EXPECT_EQ(connection.context().envLookup(tables_.tableName(), 0), 0);
        EXPECT_EQ(connection.context().dbOpen(tables_.tableName(table), "meta", &meta), 0);
        return retryOnDeadlock(
            [&] {
                return Records::putDb(connection.context().env(), meta, Records::schemaRecordKey(), numbered(number),
                                      nullptr, nullptr);
            },
            [](int) {});
    }

    std::size_t transactions()
    {
        DB_TXN_STAT* statistics = nullptr;
        EXPECT_EQ(tables_.env()->txn_stat(&statistics, 0), 0);
        const std::size_t begun = statistics->st_nbegins;
        std::free(statistics);
        return begun;
    }

    /** Whether `work` reads from the database. The environment's own threads begin no transactions. */
    template <typename Work> bool reads(Work work)
    {
        const std::size_t before = transactions();
        work();
        return transactions() != before;
    }
};

TEST_F(KeptDescription, IsReadOnceForAllRequests)
{
    ASSERT_EQ(put("t", 1), 0);
    EXPECT_TRUE(reads([&] { EXPECT_EQ(loadedNumber("t"), 1); }));
    EXPECT_FALSE(reads([&] {
        EXPECT_EQ(loadedNumber("t"), 1);
        EXPECT_EQ(loadedNumber("t", true), 1);
    }));
    ASSERT_EQ(put("t", 2), 0);
    EXPECT_TRUE(reads([&] { EXPECT_EQ(loadedNumber("t", true), 2); }));
    EXPECT_FALSE(reads([&] { EXPECT_EQ(loadedNumber("t"), 2); }));
}

TEST_F(KeptDescription, IsThatOfItsOwnTable)
{
    ASSERT_EQ(put("t", 1), 0);
    ASSERT_EQ(put("u", 2), 0);
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(loadedNumber("t"), 1);
        EXPECT_EQ(loadedNumber("u"), 2);
    }
}

TEST_F(KeptDescription, AFailureIsNotKept)
{
    const auto failsWith = [&](const std::string& line) {
        const LogCapture log;
        EXPECT_EQ(loadedNumber("t"), -1);
        EXPECT_FALSE(recordLines(log).empty());
        EXPECT_EQ(recordLines(log).back(), line);
    };
    for (int round = 0; round < 2; ++round)
        failsWith("[ERROR] bdbrequest # schema load failed rc 3");
    storeText("no JSON");
    for (int round = 0; round < 2; ++round)
        failsWith("[ERROR] bdbrequest # schema load failed rc 2");
    storeText(R"({"CreationDateTime":5})");
    for (int round = 0; round < 2; ++round) {
        failsWith("[ERROR] bdbrequest # wrond key rc1 2 rc2 2");
        EXPECT_EQ(loadedNumber("t", true), 5);
    }
    ASSERT_EQ(put("t", 1), 0);
    EXPECT_EQ(loadedNumber("t"), 1);
}

TEST_F(KeptDescription, EndsWithTheEnvironment)
{
    ASSERT_EQ(put("t", 1), 0);
    EXPECT_EQ(loadedNumber("t"), 1);
    tables_.reopen();
    EXPECT_TRUE(reads([&] { EXPECT_EQ(loadedNumber("t"), 1); }));
    ASSERT_EQ(put("t", 2), 0);
    EXPECT_EQ(loadedNumber("t"), 2);
}

TEST_F(KeptDescription, AWriteThroughAnotherNameOfTheFileCounts)
{
    ASSERT_EQ(put("t", 1), 0);
    std::filesystem::create_symlink("t", tables_.directory().file("link"));
    EXPECT_EQ(loadedNumber("link"), 1);
    EXPECT_EQ(loadedNumber("t"), 1);
    ASSERT_EQ(put("link", 2), 0);
    EXPECT_EQ(loadedNumber("t"), 2);
    EXPECT_EQ(loadedNumber("link"), 2);
    ASSERT_EQ(put("t", 3), 0);
    EXPECT_EQ(loadedNumber("link"), 3);
}

TEST_F(KeptDescription, NobodySeesAnOlderOneThanSomebodyHasSeen)
{
    constexpr int Changes = 100;
    ASSERT_EQ(put("t", 0), 0);
    std::filesystem::create_symlink("t", tables_.directory().file("link"));
    std::atomic<int> newestSeen = 0;
    std::atomic<int> older = 0;
    std::vector<std::thread> readers;
    for (const char* table : {"t", "link", "t"}) {
        readers.emplace_back([&, table] {
            for (int last = 0; last < Changes;) {
                const int before = newestSeen;
                last = loadedNumber(table);
                older += last < before ? 1 : 0;
                for (int newest = before; newest < last && !newestSeen.compare_exchange_weak(newest, last);)
                    ;
            }
        });
    }
    for (int number = 1; number <= Changes; ++number)
        EXPECT_EQ(put(number % 2 == 0 ? "t" : "link", number), 0);
    for (std::thread& reader : readers)
        reader.join();
    EXPECT_EQ(older, 0);
}

TEST_F(LoadSchema, RetriesADeadlockAndWarnsFromTheThird)
{
    const QByteArray text = store(goodSchema);
    BDBIndex* meta = tables_.index("t", "meta");
    const ExpiringLocks expiring(tables_.env());
    const LogCapture log;
    int rc = -1;
    std::thread loader;
    {
        const HeldLock held(tables_.env(), meta, Records::schemaRecordKey(), HeldLock::Write);
        loader = std::thread([&] { rc = load(); });
        EXPECT_TRUE(log.waitFor("loadSchema Got deadlock", 2));
    }
    loader.join();
    EXPECT_EQ(rc, StatusSuccess);
    EXPECT_EQ(description_, json(text));
    ASSERT_TRUE(context().keySchema());
    const std::size_t deadlocks = expiring.count();
    EXPECT_GE(deadlocks, 4u);
    EXPECT_EQ(recordLines(log), Lines(deadlocks - 2, "[WARN] loadSchema Got deadlock"));
}

} // namespace
