// The real server and directories that are not an environment, or belong to several.
#include "support/directorycontents.h"
#include "support/tablefixture.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

namespace {

namespace fs = std::filesystem;

using testing::ElementsAre;
using testing::IsEmpty;

class EnvironmentDirectories : public TableTest {
protected:
    void putInto(const QString& table, const QString& value)
    {
        createTable(table);
        const QVariantMap item{{"h", textValue("k")}, {"r", textValue("r")}, {"a", textValue(value)}};
        const QVariantMap reply = request("PutItem", {{"TableName", table}, {"Item", item}});
        EXPECT_EQ(reply.value("__rc"), QVariant(200LL)) << testing::PrintToString(reply);
    }

    QVariantMap getFrom(const QString& table)
    {
        return request("GetItem", {{"TableName", table}, {"Key", itemKey("k", "r")}});
    }

    static QVariantMap itemReply(const QString& value)
    {
        return okReply({{"Item", QVariantMap{{"a", textValue(value)}}}});
    }

    static std::string notOpened(const std::string& home, int rc)
    {
        return "[CRIT] bdb # Failed to open env path: " + home + " id env::" + home + " rc " + std::to_string(rc);
    }

    /** A request to the other environment of a test, which must not be affected. */
    void expectOthersServed()
    {
        putInto(tableName(), "served");
        EXPECT_EQ(getFrom(tableName()), itemReply("served"));
    }

    static void link(const std::string& target, const std::string& path)
    {
        ASSERT_EQ(symlink(target.c_str(), (path + ".new").c_str()), 0);
        ASSERT_EQ(rename((path + ".new").c_str(), path.c_str()), 0); // as `ln -sfn` does it
    }
};

TEST_F(EnvironmentDirectories, AnEnvironmentBelowAnotherKeepsItsItems)
{
    const std::string top = makeDirectory("top");
    const std::string shop = makeDirectory("top/shop");
    putInto(tableIn(shop, "orders"), "shop's");
    EXPECT_EQ(request("DeleteTable", {{"TableName", tableIn(shop, "orders")}}), okReply());
    const auto before = contentsOf(shop);
    (void)takeComplaints();

    EXPECT_EQ(request("CreateTable", {{"TableName", tableIn(top, "shop/orders")}, {"KeySchema", keySchema()}}),
              internalErrorReply());
    EXPECT_THAT(takeComplaints(),
                ElementsAre("[CRIT] bdb # Failed to open DB dbpath: shop/orders dbname meta rc 16 flags 289",
                            composeError(12)));
    EXPECT_EQ(contentsOf(shop), before);
    expectOthersServed();
    putInto(tableIn(top, "orders"), "top's");

    restartServer();
    EXPECT_EQ(getFrom(tableIn(shop, "orders")), itemReply("shop's"));
    EXPECT_EQ(getFrom(tableIn(top, "orders")), itemReply("top's"));
}

TEST_F(EnvironmentDirectories, ADirectoryOfAnEnvironmentDoesNotBecomeAnother)
{
    const std::string top = makeDirectory("top");
    const std::string shop = top + "/shop"; // created by the server
    putInto(tableIn(top, "shop/orders"), "top's");
    auto before = contentsOf(shop);
    (void)takeComplaints();
    EXPECT_EQ(getFrom(tableIn(shop, "orders")), notFoundReply());
    EXPECT_THAT(takeComplaints(), ElementsAre(notOpened(shop, EWOULDBLOCK)));
    EXPECT_EQ(contentsOf(shop), before);
    expectOthersServed();

    restartServer(); // nobody has it open
    before = contentsOf(shop);
    EXPECT_EQ(getFrom(tableIn(shop, "orders")), notFoundReply());
    EXPECT_THAT(takeComplaints(), ElementsAre(notOpened(shop, EBUSY)));
    EXPECT_EQ(contentsOf(shop), before);
    EXPECT_EQ(getFrom(tableIn(top, "shop/orders")), itemReply("top's"));
}

TEST_F(EnvironmentDirectories, ALinkThatIsSwitchedWhileItsEnvironmentIsOpenHarmsNeither)
{
    const std::string one = makeDirectory("one");
    const std::string two = makeDirectory("two");
    const std::string current = server_.directory() + "/current";
    putInto(tableIn(two, "orders"), "two's");
    EXPECT_EQ(request("DeleteTable", {{"TableName", tableIn(two, "orders")}}), okReply());
    const auto before = contentsOf(two);
    link(one, current);
    putInto(tableIn(current, "orders"), "one's");
    link(two, current);

    putInto(tableIn(one, "later"), "one's as well");
    EXPECT_EQ(contentsOf(two), before);
    EXPECT_TRUE(waitUntil([&] { return getFrom(tableIn(current, "orders")) == itemReply("two's"); }));
    putInto(tableIn(current, "later"), "two's as well");
    EXPECT_EQ(getFrom(tableIn(one, "orders")), itemReply("one's"));
    EXPECT_EQ(request("DeleteTable", {{"TableName", tableIn(current, "orders")}}), okReply()); // closes that one only
    EXPECT_EQ(getFrom(tableIn(one, "later")), itemReply("one's as well"));

    restartServer();
    EXPECT_EQ(getFrom(tableIn(one, "orders")), itemReply("one's"));
    EXPECT_EQ(getFrom(tableIn(one, "later")), itemReply("one's as well"));
    EXPECT_EQ(getFrom(tableIn(two, "orders")), itemReply("two's"));
    EXPECT_EQ(getFrom(tableIn(two, "later")), itemReply("two's as well"));
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

} // namespace
