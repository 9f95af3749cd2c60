#include "locks.h"
#include "schemafixture.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

TEST_F(LoadSchema, RecordKeyIsTheLengthAndTheName)
{
    EXPECT_EQ(Records::schemaRecordKey(), "0011tableschema");
    EXPECT_EQ(Records::schemaRecordKey().size(), 15);
}

TEST_F(LoadSchema, RemembersTheKeyElements)
{
    const QByteArray text = store(GoodSchema);
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
    QVariantMap description{{"KeySchema", json(GoodSchema)}, {"TableName", QString("t")}};
    ASSERT_EQ(Records::putDb(tables_.env(), tables_.index("t", "meta"), Records::schemaRecordKey(),
                             Json::serialize(description), nullptr, nullptr),
              0);
    EXPECT_EQ(load(), StatusSuccess);
    EXPECT_EQ(description_, description);
}

TEST_F(LoadSchema, OpensTheEnvironmentOfTheTableName)
{
    const QByteArray text = store(GoodSchema);
    context().leave();
    EXPECT_EQ(load(), StatusSuccess);
    EXPECT_EQ(description_, json(text));
    EXPECT_NE(tables_.env(), nullptr);
}

TEST_F(LoadSchema, ReadsTheMetaSubDatabaseOfTheTablesOwnFile)
{
    store(GoodSchema);
    QVariantMap description;
    EXPECT_EQ(Records::loadSchema(context(), tables_.tableName("other"), &description, false), StatusNotFound);
    rawPut(tables_.index("third", "data"), "0011tableschema", R"({"KeySchema":)" + GoodSchema + "}");
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
    store(GoodSchema);
    ASSERT_EQ(load(), StatusSuccess);

    // Neither the record, the environment nor the registry is accessed.
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
    store(GoodSchema);
    ASSERT_EQ(load(), StatusSuccess);
    const QByteArray changed = store(R"({"HashKeyElement":{"AttributeName":"new","AttributeType":"S"},)"
                                     R"("RangeKeyElement":{"AttributeName":"newer","AttributeType":"S"}})");
    EXPECT_EQ(load(), StatusSuccess);
    EXPECT_EQ(description_, json(changed));
    EXPECT_EQ(hashElement().value("AttributeName"), "new");
    EXPECT_EQ(rangeElement().value("AttributeName"), "newer");
}

TEST_F(LoadSchema, RawOnlyChecksAndRemembersNothing)
{
    for (const QByteArray& keySchema :
         {QByteArray("{}"), QByteArray("5"), GoodSchema, QByteArray(R"({"HashKeyElement":{"AttributeName":"id"}})")}) {
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
    store(GoodSchema);
    ASSERT_EQ(load(), StatusSuccess);
    const QByteArray text = store("{}");
    EXPECT_EQ(load(true), StatusSuccess);
    EXPECT_EQ(description_, json(text));
    ASSERT_TRUE(context().keySchema());
    EXPECT_EQ(hashElement().value("AttributeName"), "id");
}

TEST_F(LoadSchema, RetriesADeadlockAndWarnsFromTheThird)
{
    const QByteArray text = store(GoodSchema);
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
