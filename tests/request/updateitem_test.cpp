#include "updateitemfixture.h"

#include "storedenvironment.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(UpdateItem, MakesTheItemThatIsMissing)
{
    EXPECT_EQ(update("k", "1", {{"a", putValue(textValue("x"))}, {"n", addValue(numberValue("3"))}, {"z", Delete}}),
              okReply());
    EXPECT_EQ(get("k", "1"), found({{"a", textValue("x")}, {"n", numberValue("3")}}));
}

TEST_F(UpdateItem, NothingForAMissingItemWritesNothing)
{
    put("abc", "1", {});
    for (const char* values : {"NONE", "ALL_OLD", "ALL_NEW", "UPDATED_OLD", "UPDATED_NEW"}) {
        EXPECT_EQ(update("abc", "2", {{"a", Delete}}, returning(values)), okReply());
        EXPECT_EQ(update("abc", "2", {}, returning(values)), okReply());
    }
    EXPECT_EQ(get("abc", "2"), okReply());
    killServer();
    EXPECT_EQ(StoredEnvironment(home()).records("t_98.db", "data"),
              (std::map<QByteArray, QByteArray>{{"0003abc1", "{}"}}));
}

TEST_F(UpdateItem, RemovingTheLastAttributeKeepsTheItem)
{
    put("k", "1", {{"a", textValue("x")}});
    EXPECT_EQ(update("k", "1", {{"a", Delete}}, returning("UPDATED_OLD")), answer({{"a", textValue("x")}}));
    EXPECT_EQ(get("k", "1"), found({}));
    EXPECT_EQ(update("k", "1", {}, returning("ALL_NEW")), okReply()); // empty attributes are left out
}

TEST_F(UpdateItem, DeleteRemovesTheWholeAttributeWhateverItsValue)
{
    const QVariantMap set{{"SS", QVariantList{"p", "q"}}};
    put("k", "1", {{"a", set}, {"b", textValue("x")}});
    EXPECT_EQ(
        update("k", "1", {{"a", action("DELETE", QVariantMap{{"SS", QVariantList{"p"}}})}}, returning("UPDATED_OLD")),
        answer({{"a", set}}));
    EXPECT_EQ(get("k", "1"), found({{"b", textValue("x")}}));
}

TEST_F(UpdateItem, OtherActionsLeaveTheAttributeAlone)
{
    put("k", "1", old_);
    const QVariantMap value{{"Value", textValue("never")}};
    for (const QVariant& update_ :
         {QVariant(value), QVariant(merged(value, {{"Action", "put"}})), QVariant(merged(value, {{"Action", "PUT "}})),
          QVariant(merged(value, {{"Action", ""}})), QVariant(merged(value, {{"Action", QVariant()}})),
          QVariant(merged(value, {{"Action", 5LL}})), QVariant(merged(value, {{"Action", QVariantList{"PUT"}}})),
          QVariant(merged(value, {{"action", "PUT"}})), QVariant(), QVariant(5LL), QVariant("PUT"),
          QVariant(QVariantList{value})}) {
        EXPECT_EQ(update("k", "1", {{"a", update_}, {"new", update_}}, returning("UPDATED_NEW")), okReply())
            << Json::serialize(update_).toStdString();
        EXPECT_EQ(get("k", "1"), found(old_));
    }
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(UpdateItem, AttributeUpdatesThatIsNoMapUpdatesNothing)
{
    put("k", "1", old_);
    for (const QVariant& other : {QVariant(), QVariant(5LL), QVariant("x"), QVariant(QVariantList{updates_})})
        EXPECT_EQ(request("UpdateItem",
                          {{"TableName", tableName()}, {"Key", itemKey("k", "1")}, {"AttributeUpdates", other}}),
                  okReply());
    EXPECT_EQ(request("UpdateItem", {{"TableName", tableName()}, {"Key", itemKey("k", "1")}}), okReply());
    EXPECT_EQ(get("k", "1"), found(old_));
}

TEST_F(UpdateItem, PutStoresAnyValueAsItCame)
{
    const QVariantMap values{{"a", QVariantMap{{"SS", QVariantList{"p"}}}},
                             {"b", "bare"},
                             {"c", std::numeric_limits<qulonglong>::max()},
                             {"d", QVariantList{1LL, QVariant()}},
                             {"e", QVariant()}};
    QVariantMap updates{{"missing", QVariantMap{{"Action", "PUT"}}}};
    for (auto it = values.begin(); it != values.end(); ++it)
        updates.insert(it.key(), putValue(it.value()));
    const QVariantMap stored = merged(values, {{"missing", QVariant()}});
    EXPECT_EQ(update("k", "1", updates, returning("UPDATED_NEW")), answer(stored));
    EXPECT_EQ(get("k", "1"), found(stored));
}

TEST_F(UpdateItem, MayStoreAttributesNamedLikeTheKeys)
{
    EXPECT_EQ(update("k", "1", {{"h", putValue(textValue("other"))}}), okReply());
    EXPECT_EQ(get("k", "1"), found({{"h", textValue("other")}}));
    EXPECT_EQ(update("k", "1", {}, returning("ALL_NEW")), answer({{"h", "k"}, {"r", "1"}}));
}

TEST_F(UpdateItem, ConditionDecidesWhetherAnythingIsWritten)
{
    const QVariantMap failing{{"Expected", QVariantMap{{"a", QVariantMap{{"Value", textValue("other")}}}}}};
    const QVariantMap holding{{"Expected", QVariantMap{{"a", QVariantMap{{"Value", textValue("x")}}}}}};
    put("k", "1", old_);
    for (const char* values : {"NONE", "ALL_OLD", "ALL_NEW", "UPDATED_OLD", "UPDATED_NEW"})
        EXPECT_EQ(update("k", "1", updates_, merged(failing, returning(values))), conditionFailedReply());
    EXPECT_EQ(get("k", "1"), found(old_));
    EXPECT_EQ(update("k", "1", updates_, holding), okReply());
    EXPECT_EQ(get("k", "1"), found(new_));

    EXPECT_EQ(update("none", "1", updates_, failing), conditionFailedReply());
    EXPECT_EQ(get("none", "1"), okReply());
    EXPECT_EQ(update("none", "1", {{"a", putValue(textValue("x"))}},
                     {{"Expected", QVariantMap{{"a", QVariantMap{{"Exists", false}}}}}}),
              okReply());
    EXPECT_EQ(get("none", "1"), found({{"a", textValue("x")}}));
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(UpdateItem, MalformedConditionIsAnInternalError)
{
    put("k", "1", old_);
    for (const QVariant& condition : {QVariant(), QVariant(5LL), QVariant("x"), QVariant(QVariantMap())}) {
        EXPECT_EQ(
            update("k", "1", updates_, merged(returning("ALL_NEW"), {{"Expected", QVariantMap{{"a", condition}}}})),
            internalErrorReply());
        EXPECT_THAT(takeComplaints(), ElementsAre("[ERROR] bdbrequest # attr missing", composeError(2)));
    }
    EXPECT_EQ(update("k", "1", updates_, {{"Expected", "no map"}}), okReply());
    EXPECT_EQ(get("k", "1"), found(new_));
}

} // namespace
