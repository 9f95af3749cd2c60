#include "items/storeditem.h"

#include "itemmaker.h"
#include "items/itemsize.h"
#include "support/serverprocess.h"
#include "json/jsonreader.h"
#include "json/jsonwriter.h"

#include <gtest/gtest.h>

#include <QByteArray>
#include <QVariantMap>

#include <array>
#include <string>

namespace {

using Items::AttributeValue;
using Items::Item;
namespace StoredItem = Items::StoredItem;

TEST(StoredItemWire, TheLargestItemsComeBack)
{
    ServerProcess server;
    ASSERT_TRUE(server.start());
    const std::string table = server.makeDirectory("d") + "|t";
    const QVariantMap element = {{"AttributeName", "h"}, {"AttributeType", "S"}};
    const QVariantMap range = {{"AttributeName", ""}, {"AttributeType", "S"}};
    ASSERT_EQ(server.request("CreateTable", {{"TableName", table.c_str()},
                                             {"KeySchema", QVariantMap{{"HashKeyElement", element},
                                                                       {"RangeKeyElement", range}}}})["__rc"],
              200);
    ItemMaker maker(23);
    const std::size_t most = Items::MostItemBytes - 1;
    const std::size_t mostAsJson = StoredItem::MostBytes - std::string(R"({"a":{"S":""}})").size();
    int number = 0;
    for (const AttributeValue& value :
         {AttributeValue::ofBinary(maker.bytes(most)), AttributeValue::ofString(maker.characters(most, 0, 0x20)),
          AttributeValue::ofString(std::string(mostAsJson, 'x')),
          AttributeValue::ofString(std::string(mostAsJson - 5, '\x7f')), AttributeValue::ofString(maker.utf8(1000))}) {
        const Item item = {{"a", value}};
        const std::string text = StoredItem::textOf(item).value();
        QVariant put;
        ASSERT_TRUE(Json::parse(QByteArray::fromStdString(text), &put));
        QVariantMap stored = put.toMap();
        stored["h"] = QVariantMap{{"S", QString::number(++number)}};
        stored[""] = QVariantMap{{"S", "-"}};
        ASSERT_EQ(server.request("PutItem", {{"TableName", table.c_str()}, {"Item", stored}})["__rc"], 200);

        const QVariantMap key = {{"HashKeyElement", stored["h"]}, {"RangeKeyElement", stored[""]}};
        const QVariantMap got = server.request("GetItem", {{"TableName", table.c_str()}, {"Key", key}})["Item"].toMap();
        Item read;
        std::string why;
        ASSERT_TRUE(StoredItem::read(parsedJson(Json::serialize(got).toStdString()), {}, &read, &why)) << why;
        EXPECT_EQ(read, item);

        const QVariantMap page = server.request("Query", {{"TableName", table.c_str()}, {"HashKeyValue", stored["h"]}});
        const QByteArray json = Json::serialize(page["Items"].toList().value(0));
        const std::array<std::string_view, 2> keys = {"h", ""};
        ASSERT_TRUE(StoredItem::read(parsedJson(json.toStdString()), keys, &read, &why)) << why;
        EXPECT_EQ(read, item);
    }
}

} // namespace
