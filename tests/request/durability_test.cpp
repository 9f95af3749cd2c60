#include "support/tablefixture.h"

namespace {

using testing::IsEmpty;

class Durability : public TableTest {
protected:
    explicit Durability(ServerProcess::Setup setup = {}) : TableTest(std::move(setup)) {}

    static QVariantMap found(const QVariantMap& attributes) { return okReply({{"Item", attributes}}); }
};

TEST_F(Durability, AcknowledgedWritesSurviveACrash)
{
    const QVariantMap one{{"a", textValue("x")}};
    const QVariantMap two{{"a", textValue("y")}, {"large", textValue(QString(100000, 'x'))}};
    createTable(tableName());
    put("k", "put", one);
    put("k", "twice", one);
    put("k", "twice", two);
    put("k", "deleted", one);
    EXPECT_EQ(remove("k", "deleted"), okReply());
    put("k", "updated", one);
    EXPECT_EQ(update("k", "updated", {{"n", QVariantMap{{"Action", "PUT"}, {"Value", numberValue("1")}}}}), okReply());
    const QVariantMap description = describe(tableName());

    for (int crash = 0; crash < 3; ++crash) {
        restartServer();
        EXPECT_EQ(describe(tableName()), description);
        EXPECT_EQ(get("k", "put"), found(one));
        EXPECT_EQ(get("k", "twice"), found(two));
        EXPECT_EQ(get("k", "deleted"), okReply());
        EXPECT_EQ(get("k", "updated"), found(merged(one, {{"n", numberValue("1")}})));
        const QString range = QString::number(crash);
        put("k", range, one); // and the server can write after each start
        EXPECT_EQ(get("k", range), found(one));
        EXPECT_THAT(takeComplaints(), IsEmpty());
    }
}

TEST_F(Durability, TheEarliestMomentAfterTheReplyIsLateEnough)
{
    createTable(tableName());
    for (int i = 0; i < 5; ++i) {
        put("k", QString::number(i), {{"n", numberValue(QString::number(i))}});
        restartServer();
        for (int j = 0; j <= i; ++j)
            EXPECT_EQ(get("k", QString::number(j)), found({{"n", numberValue(QString::number(j))}}));
    }
}

class DurabilityWithoutSync : public Durability {
protected:
    DurabilityWithoutSync() : Durability({.arguments = {"-n"}}) {}
};

TEST_F(DurabilityWithoutSync, ACrashLeavesWholeWritesInTheirOrder)
{
    createTable(tableName());
    constexpr int Writes = 300;
    for (int i = 0; i < Writes; ++i) {
        const QVariantMap attributes{{"n", numberValue(QString::number(i))}};
        EXPECT_EQ(put("k", QString::number(i), attributes), okReply({{"Attributes", attributes}}));
        EXPECT_EQ(get("k", QString::number(i)), found(attributes));
    }
    restartServer();
    // The most recent writes may be lost; the others are intact and without gaps.
    int survived = 0;
    while (survived < Writes &&
           get("k", QString::number(survived)) == found({{"n", numberValue(QString::number(survived))}}))
        ++survived;
    for (int i = survived; i < Writes; ++i)
        EXPECT_EQ(get("k", QString::number(i)), okReply()) << i << " is there without " << survived;
}

TEST_F(DurabilityWithoutSync, CreateTableIsWrittenOutImmediately)
{
    createTable(tableName());
    const QVariantMap description = describe(tableName());
    restartServer();
    EXPECT_EQ(describe(tableName()), description);
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(DurabilityWithoutSync, DeleteTableLeavesNothingInMemory)
{
    createTable(tableName());
    for (int i = 0; i < 20; ++i)
        put("k", QString::number(i), {{"a", textValue("x")}});
    EXPECT_EQ(request("DeleteTable", {{"TableName", tableName()}}), okReply());
    restartServer();
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(get("k", QString::number(i)), found({{"a", textValue("x")}}));
}

} // namespace
