/* Names that requests use although nobody has created such a table. */
#include "listtablesfixture.h"
#include "storedenvironment.h"

namespace {

using testing::IsEmpty;

class NotCreated : public ListTables {
protected:
    void SetUp() override
    {
        ListTables::SetUp();
        createTable(tableName());
        updateNothing("u");
        createTable(tableName("v"));
        killServer();
        // A description's file without one, as servers have left them that looked for one in a file that they made.
        StoredEnvironment(home()).remove("v", "meta", "0011tableschema");
        restartServer();
        ASSERT_EQ(describe(tableName()).value("__rc"), 200);
        ASSERT_EQ(describe(tableName("v")), notFoundReply());
        updateNothing("u");
        (void)takeComplaints();
    }

    /** Leaves the file of a partition: one is made for an update, before it turns out that nothing is left to store. */
    void updateNothing(const QString& name)
    {
        ASSERT_EQ(
            request("UpdateItem",
                    {{"TableName", tableName(name)}, {"Key", itemKey("k", "1")}, {"AttributeUpdates", QVariantMap()}}),
            okReply());
    }

    QVariantMap environment() { return request("Quorva_1.Status", {}).value("Environments").toList().value(0).toMap(); }

    const QVariantMap t_ = table("t", 1, EmptyTableBytes);
    const QVariantMap u_ = table("u", 1, EmptyTableBytes, {});
    const QVariantMap v_ = table("v", 1, EmptyTableBytes, {});
};

TEST_F(NotCreated, AreNoTablesOfAnOpenDirectory)
{
    EXPECT_EQ(list(), listed(true, {t_}, {{"NotCreated", QVariantList{u_, v_}}}));
    restartServer();
    EXPECT_EQ(describe(tableName()).value("__rc"), 200);
    EXPECT_EQ(list(), listed(true, {t_}, {{"NotCreated", QVariantList{u_, v_}}}));
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(NotCreated, AreNoTablesOfAClosedDirectoryWithoutAFileForTheDescription)
{
    close();
    EXPECT_EQ(list(), listed(false, {t_, v_}, {{"NotCreated", QVariantList{u_}}}));
}

TEST_F(NotCreated, AreTablesOnceTheyAreCreated)
{
    createTable(tableName("u"), keySchema("x", "y"));
    createTable(tableName("v"));
    EXPECT_EQ(list(), listed(true, {t_, table("u", 2, 2 * EmptyTableBytes, keySchema("x", "y")),
                                    table("v", 1, EmptyTableBytes)}));
    EXPECT_EQ(environment().value("OpenTables"), QVariantList({"t", "u", "v"}));
}

TEST_F(NotCreated, CountAsFilesOfTheEnvironmentAndNotAsTables)
{
    EXPECT_EQ(environment().value("OpenTables"), QVariantList({"t"}));
    EXPECT_EQ(environment().value("Tables"), QVariant(1LL));
    EXPECT_EQ(environment().value("Files"), QVariant(3LL));
}

TEST_F(NotCreated, AreDistinguishedFromTablesThatAreUsedWithoutTheirDescription)
{
    restartServer();
    updateNothing("t");
    updateNothing("v");
    EXPECT_EQ(environment().value("OpenTables"), QVariantList({"t"}));
    EXPECT_EQ(environment().value("Files"), QVariant(2LL));
}

TEST_F(NotCreated, AnEmptiedTableIsOne)
{
    ASSERT_EQ(put("k", "1", {}).value("__rc"), 200);
    ASSERT_EQ(request("Quorva_1.TruncateTable", {{"TableName", tableName()}}).value("__rc"), 200);
    EXPECT_EQ(list(), listed(true, {t_}, {{"NotCreated", QVariantList{u_, v_}}}));
    EXPECT_EQ(environment().value("OpenTables"), QVariantList({"t"}));
}

} // namespace
