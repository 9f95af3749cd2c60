#include "itemoperation.h"
#include "storedenvironment.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class DeleteItem : public ItemOperation {
protected:
    static QVariantMap expecting(const QVariantMap& condition) { return {{"Expected", QVariantMap{{"a", condition}}}}; }

    const QVariantMap allOld_{{"ReturnValues", "ALL_OLD"}};
    const QVariantMap one_{{"a", textValue("x")}, {"n", numberValue("1")}};
};

TEST_F(DeleteItem, RemovesTheOneItemAndAnswersNothing)
{
    put("k", "1", one_);
    put("k", "2", one_);
    put("k", "", one_);
    EXPECT_EQ(remove("k", "1"), okReply());
    EXPECT_EQ(get("k", "1"), okReply());
    EXPECT_EQ(get("k", "2"), found(one_));
    EXPECT_EQ(get("k", ""), found(one_));
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(DeleteItem, RemovesTheRecord)
{
    put("abc", "1", one_);
    put("abc", "2", {});
    EXPECT_EQ(remove("abc", "1"), okReply());
    killServer();
    EXPECT_EQ(StoredEnvironment(home()).records("t_98.db", "data"),
              (std::map<QByteArray, QByteArray>{{"0003abc2", "{}"}}));
}

TEST_F(DeleteItem, AllOldAnswersTheItemThatWasThere)
{
    put("k", "1", one_);
    put("k", "2", {});
    EXPECT_EQ(remove("k", "1", allOld_), answer(one_));
    EXPECT_EQ(remove("k", "2", allOld_), answer({}));
    EXPECT_EQ(get("k", "1"), okReply());
    EXPECT_EQ(get("k", "2"), okReply());
}

TEST_F(DeleteItem, OtherReturnValuesAnswerNothing)
{
    for (const QVariant& value : {QVariant("NONE"), QVariant("all_old"), QVariant("ALL_NEW"), QVariant("UPDATED_OLD"),
                                  QVariant(""), QVariant(), QVariant(5LL), QVariant(QVariantList{"ALL_OLD"})}) {
        put("k", "1", one_);
        EXPECT_EQ(remove("k", "1", {{"ReturnValues", value}}), okReply()) << value.toString().toStdString();
        EXPECT_EQ(get("k", "1"), okReply());
    }
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(DeleteItem, MissingItemIsASuccess)
{
    EXPECT_EQ(remove("k", "1"), okReply());
    EXPECT_EQ(remove("k", "1", allOld_), answer({}));
    EXPECT_EQ(request("DeleteItem", {{"TableName", tableName("none")}, {"Key", itemKey("k", "1")}}), okReply());
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(DeleteItem, ConditionThatHoldsLetsItGo)
{
    put("k", "1", one_);
    put("k", "2", one_);
    EXPECT_EQ(remove("k", "1", expecting({{"Value", textValue("x")}})), okReply());
    EXPECT_EQ(get("k", "1"), okReply());
    EXPECT_EQ(remove("k", "2", merged(allOld_, expecting({{"Exists", true}}))), answer(one_));
    EXPECT_EQ(get("k", "2"), okReply());
}

TEST_F(DeleteItem, ConditionThatFailsKeepsItAndAnswersEmptyAttributes)
{
    const QVariantMap failed = conditionFailedReply({{"Attributes", QVariantMap()}});
    put("k", "1", one_);
    EXPECT_EQ(remove("k", "1", expecting({{"Value", textValue("y")}})), failed);
    EXPECT_EQ(remove("k", "1", merged(allOld_, expecting({{"Exists", false}}))), failed);
    EXPECT_EQ(get("k", "1"), found(one_));
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(DeleteItem, ConditionOnAMissingItemSeesNoAttributes)
{
    EXPECT_EQ(remove("k", "1", expecting({{"Exists", false}})), okReply());
    EXPECT_EQ(remove("k", "1", merged(allOld_, expecting({{"Exists", false}}))), answer({}));
    EXPECT_EQ(remove("k", "1", expecting({{"Value", textValue("x")}})),
              conditionFailedReply({{"Attributes", QVariantMap()}}));
}

TEST_F(DeleteItem, MalformedConditionIsAnInternalErrorAndKeepsTheItem)
{
    put("k", "1", one_);
    for (const QVariant& condition : {QVariant(), QVariant(5LL), QVariant("x"), QVariant(QVariantList()),
                                      QVariant(QVariantMap()), QVariant(textValue("x"))}) {
        EXPECT_EQ(remove("k", "1", {{"Expected", QVariantMap{{"a", condition}}}}),
                  internalErrorReply({{"Attributes", QVariantMap()}}));
        EXPECT_THAT(takeComplaints(), ElementsAre("[ERROR] bdbrequest # attr missing", composeError(2)));
    }
    EXPECT_EQ(get("k", "1"), found(one_));
}

TEST_F(DeleteItem, ExpectedThatIsNoMapHoldsNoCondition)
{
    for (const QVariant& other :
         {QVariant(), QVariant(5LL), QVariant("x"), QVariant(QVariantList{5LL}), QVariant(QVariantMap{})}) {
        put("k", "1", one_);
        EXPECT_EQ(remove("k", "1", {{"Expected", other}}), okReply());
        EXPECT_EQ(get("k", "1"), okReply());
    }
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

} // namespace
