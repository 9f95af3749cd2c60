#include "support/tablefixture.h"

namespace {

/** Values that a client might send by mistake in place of the right one. */
QVariantList foreignValues()
{
    QVariant deep = QVariantMap{{"S", "deep"}};
    for (int i = 0; i < 900; ++i)
        deep = QVariantList{deep};
    return {QVariant(),
            true,
            false,
            0LL,
            -1LL,
            std::numeric_limits<qlonglong>::min(),
            std::numeric_limits<qulonglong>::max(),
            0.5,
            1e300,
            "",
            "text",
            "ALL_OLD",
            QString::fromUcs4(U"\u20ac\U0001F600"),
            QString::fromLatin1("\0", 1),
            QString(5000, 'x'),
            QVariantList{},
            QVariantList{1LL, "x", QVariant()},
            QVariantMap{},
            QVariantMap{{"S", 1LL}},
            QVariantMap{{"S", QVariant()}},
            QVariantMap{{"S", "text"}},
            QVariantMap{{"N", "text"}},
            QVariantMap{{"", QVariantMap{{"", QVariant()}}}},
            QVariantMap{{"Exists", QVariantMap()}},
            QVariantMap{{"Action", "PUT"}},
            deep};
}

/** Every variant of `value` in which one node below the root is replaced by `foreign`, or removed. */
std::vector<QVariant> mutations(const QVariant& value, const QVariantList& foreign)
{
    std::vector<QVariant> result;
    if (value.typeId() == QMetaType::QVariantMap) {
        const QVariantMap map = value.toMap();
        for (auto it = map.begin(); it != map.end(); ++it) {
            QVariantMap changed = map;
            changed.remove(it.key());
            result.emplace_back(changed);
            for (const QVariant& other : foreign) {
                changed[it.key()] = other;
                result.emplace_back(changed);
            }
            for (const QVariant& other : mutations(it.value(), foreign)) {
                changed[it.key()] = other;
                result.emplace_back(changed);
            }
        }
    } else if (value.typeId() == QMetaType::QVariantList) {
        const QVariantList list = value.toList();
        for (qsizetype i = 0; i < list.size(); ++i) {
            QVariantList changed = list;
            for (const QVariant& other : foreign) {
                changed[i] = other;
                result.emplace_back(changed);
            }
            for (const QVariant& other : mutations(list[i], foreign)) {
                changed[i] = other;
                result.emplace_back(changed);
            }
        }
    }
    return result;
}

/** A request with all fields that the operation reads. */
class FieldTypes : public TableTest, public testing::WithParamInterface<const char*> {
protected:
    QVariantMap fullBody(const QByteArray& operation) const
    {
        const QVariantMap condition{{"a", QVariantMap{{"Value", textValue("x")}}},
                                    {"b", QVariantMap{{"Exists", false}}}};
        const QVariantMap item{{"h", textValue("k")},
                               {"r", textValue("1")},
                               {"a", textValue("x")},
                               {"s", QVariantMap{{"SS", QVariantList{"p", "q"}}}}};
        QVariantMap body{{"TableName", tableName()},
                         {"Expected", condition},
                         {"Key", itemKey("k", "1")},
                         {"ReturnValues", "ALL_OLD"}};
        if (operation == "PutItem")
            body.insert("Item", item);
        else if (operation == "GetItem")
            body.insert("AttributesToGet", QVariantList{"a", "s"});
        else if (operation == "UpdateItem")
            body.insert("AttributeUpdates",
                        QVariantMap{{"a", QVariantMap{{"Action", "ADD"}, {"Value", textValue("y")}}},
                                    {"n", QVariantMap{{"Action", "PUT"}, {"Value", numberValue("1")}}},
                                    {"s", QVariantMap{{"Action", "DELETE"}}}});
        else if (operation == "CreateTable")
            body.insert({{"KeySchema", keySchema()}, {"ProvisionedThroughput", throughput()}});
        else if (operation == "UpdateTable")
            body.insert("ProvisionedThroughput", QVariantMap{{"FlushDB", 1LL}});
        return body;
    }
};

/** True for a reply with the fields of exactly one of the envelopes, all of them and no others. */
testing::AssertionResult hasEnvelope(const QVariantMap& reply)
{
    const auto envelopeOf = [](const QVariantMap& map) {
        QVariantMap envelope;
        for (const char* name : {"__rc", "__rcstr", "__type", "message"}) {
            if (map.contains(name))
                envelope.insert(name, map.value(name));
        }
        return envelope;
    };
    for (const QVariantMap& row :
         {okReply(), conditionFailedReply(), notFoundReply(), invalidRequestReply(), internalErrorReply()}) {
        if (envelopeOf(reply) == row)
            return testing::AssertionSuccess();
    }
    return testing::AssertionFailure() << testing::PrintToString(reply);
}

TEST_P(FieldTypes, EveryMistakeIsAnsweredAndHarmsNothing)
{
    const QByteArray operation = GetParam();
    Caller caller(server_);
    int count = 0;
    for (const QVariant& body : mutations(fullBody(operation), foreignValues())) {
        if (count++ % 50 == 0) { // the mistakes may replace the schema and change the item
            createTable(tableName());
            put("k", "1", {{"a", textValue("x")}, {"s", QVariantMap{{"SS", QVariantList{"p"}}}}});
        }
        ASSERT_TRUE(hasEnvelope(caller.request(operation, body.toMap())))
            << operation.toStdString() << ' ' << Json::serialize(body).left(2000).toStdString() << ' '
            << caller.connection().error().toStdString();
    }
    EXPECT_GT(count, 100);
    createTable(tableName());
    const QVariantMap attributes{{"a", textValue("x")}};
    EXPECT_EQ(put("k", "1", attributes), okReply({{"Attributes", attributes}}));
    EXPECT_EQ(get("k", "1"), okReply({{"Item", attributes}}));
}

INSTANTIATE_TEST_SUITE_P(Operations, FieldTypes,
                         testing::Values("CreateTable", "DescribeTable", "UpdateTable", "DeleteTable", "PutItem",
                                         "GetItem", "DeleteItem", "UpdateItem"),
                         [](const auto& operation) { return std::string(operation.param); });

} // namespace
