#include "items/keycodec.h"

#include "itemmaker.h"
#include "support/serverprocess.h"

#include <gtest/gtest.h>

#include <QString>
#include <QVariantList>
#include <QVariantMap>

#include <algorithm>
#include <string>
#include <vector>

// Keys that a server stores, gives back and finds on all its walks.
namespace {

using Items::AttributeValue;
namespace KeyCodec = Items::KeyCodec;
using KeyCodec::Form;

QVariantMap typed(const std::string& bytes)
{
    return {{"S", QString::fromLatin1(bytes.data(), static_cast<qsizetype>(bytes.size()))}};
}

std::vector<AttributeValue> hardValues(Form form, std::size_t mostBytes)
{
    std::vector<AttributeValue> values;
    ItemMaker maker(22);
    if (form == Form::Number) {
        for (const char* text :
             {"0", "1", "10", "1.5", "1e-130", "9.9999999999999999999999999999999999999E+125", "7e-9"}) {
            for (const char* sign : {"", "-"})
                values.push_back(AttributeValue::ofNumber(Decimal::Number::parse(sign + std::string(text)).value()));
        }
    } else {
        for (int character = 0; character < 0x80; character += character < 2 ? 1 : 9) {
            for (const std::size_t count : {std::size_t{1}, std::size_t{2}, mostBytes})
                values.push_back(AttributeValue::ofString(std::string(count, static_cast<char>(character))));
        }
        for (const char* text : {"\x7f", "ÿ", "ÿÿ", "✓", "größer", "\xf4\x8f\xbf\xbf"})
            values.push_back(AttributeValue::ofString(text));
    }
    if (form == Form::Binary) {
        for (AttributeValue& value : values)
            value = AttributeValue::ofBinary(*value.asString());
        for (const std::size_t count : {std::size_t{1}, std::size_t{5}, mostBytes})
            values.push_back(AttributeValue::ofBinary(std::string(count, '\xff')));
        for (int i = 0; i < 10; ++i)
            values.push_back(AttributeValue::ofBinary(maker.bytes(1 + maker.upTo(9))));
    }
    std::sort(values.begin(), values.end(), [](const auto& a, const auto& b) { return Items::compare(a, b) < 0; });
    values.erase(std::unique(values.begin(), values.end()), values.end());
    return values;
}

class KeysWire : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(server_.start());
        table_ = QString::fromStdString(server_.makeDirectory("d") + "|t");
    }

    void createTable(const char* rangeName)
    {
        const auto element = [](const char* name) {
            return QVariantMap{{"AttributeName", name}, {"AttributeType", "S"}};
        };
        const QVariantMap reply = server_.request(
            "CreateTable",
            {{"TableName", table_},
             {"KeySchema", QVariantMap{{"HashKeyElement", element("h")}, {"RangeKeyElement", element(rangeName)}}}});
        ASSERT_EQ(reply["__rc"], 200);
    }

    QVariantMap request(const char* operation, QVariantMap body)
    {
        body["TableName"] = table_;
        const QVariantMap reply = server_.request(operation, body);
        EXPECT_EQ(reply["__rc"], 200) << operation;
        return reply;
    }

    static QVariantMap key(const std::string& hash, const std::string& range)
    {
        return {{"HashKeyElement", typed(hash)}, {"RangeKeyElement", typed(range)}};
    }

    /** Stores an item that is not there yet. */
    void put(const std::string& hash, const std::string& range)
    {
        const QVariantMap entry = {{"TableName", table_},
                                   {"Key", key(hash, range)},
                                   {"Expected", QVariantMap{{"Exists", false}}},
                                   {"Put", QVariantMap{{"v", typed("x")}}}};
        ASSERT_EQ(server_.request("Quorva_1.Commit", {{"Entries", QVariantList{entry}}})["__rc"], 200);
    }

    void expectItem(const std::string& hash, const std::string& range)
    {
        const QVariantMap item = request("GetItem", {{"Key", key(hash, range)}})["Item"].toMap();
        EXPECT_EQ(item, (QVariantMap{{"v", typed("x")}}));
    }

    /** The values of a key attribute, one request for each. */
    std::vector<AttributeValue> walked(const char* operation, QVariantMap body, Form form, const char* name)
    {
        std::vector<AttributeValue> values;
        body["Limit"] = 1;
        for (;;) {
            const QVariantMap reply = request(operation, body);
            for (const QVariant& item : reply["Items"].toList())
                values.push_back(decoded(form, item.toMap()[name].toMap()["S"]));
            const QVariantMap last = reply["LastEvaluatedKey"].toMap();
            if (last.isEmpty())
                return values;
            QVariantMap start;
            for (auto element = last.begin(); element != last.end(); ++element)
                start[element.key()] = QVariantMap{{"S", element.value()}};
            body["ExclusiveStartKey"] = start;
        }
    }

    /** The range keys that a condition finds. */
    std::vector<AttributeValue> found(Form form, const char* comparison, const std::vector<std::string>& bounds)
    {
        QVariantList list;
        for (const std::string& bound : bounds)
            list.append(typed(bound));
        const QVariantMap condition = {{"ComparisonOperator", comparison}, {"AttributeValueList", list}};
        std::vector<AttributeValue> values;
        const QVariantMap reply = request("Query", {{"HashKeyValue", typed("h")}, {"RangeKeyCondition", condition}});
        for (const QVariant& item : reply["Items"].toList())
            values.push_back(decoded(form, item.toMap()["r"].toMap()["S"]));
        return values;
    }

    static AttributeValue decoded(Form form, const QVariant& text)
    {
        const QByteArray bytes = text.toString().toLatin1();
        const auto value = KeyCodec::decode(form, {bytes.constData(), static_cast<std::size_t>(bytes.size())});
        EXPECT_TRUE(value) << bytes.constData();
        return value.value_or(AttributeValue::ofNull());
    }

    void expectRangeKeysFound(Form form)
    {
        createTable("r");
        const std::vector<AttributeValue> values = hardValues(form, KeyCodec::MostRangeBytes);
        std::vector<std::string> keys;
        for (const AttributeValue& value : values) {
            keys.push_back(KeyCodec::encode(form, value).value());
            put("h", keys.back());
            expectItem("h", keys.back());
        }
        const std::vector<AttributeValue> reversed(values.rbegin(), values.rend());
        EXPECT_EQ(walked("Query", {{"HashKeyValue", typed("h")}}, form, "r"), values);
        EXPECT_EQ(walked("Query", {{"HashKeyValue", typed("h")}, {"ScanIndexForward", false}}, form, "r"), reversed);
        using Values = std::vector<AttributeValue>;
        for (std::size_t i = 0; i < values.size(); ++i) {
            const auto at = static_cast<std::ptrdiff_t>(i);
            const auto rat = static_cast<std::ptrdiff_t>(values.size() - i);
            EXPECT_EQ(found(form, "EQ", {keys[i]}), Values{values[i]});
            EXPECT_EQ(found(form, "GE", {keys[i]}), Values(values.begin() + at, values.end()));
            EXPECT_EQ(found(form, "GT", {keys[i]}), Values(values.begin() + at + 1, values.end()));
            EXPECT_EQ(found(form, "LT", {keys[i]}), Values(reversed.begin() + rat, reversed.end()));
            EXPECT_EQ(found(form, "LE", {keys[i]}), Values(reversed.begin() + rat - 1, reversed.end()));
            EXPECT_EQ(found(form, "BETWEEN", {keys[i / 2], keys[i]}),
                      Values(values.begin() + static_cast<std::ptrdiff_t>(i / 2), values.begin() + at + 1));
        }
    }

    /** As hash keys with the longest range keys. */
    void expectHashKeysFound(Form form)
    {
        createTable("r");
        const std::string range = KeyCodec::encode(form, hardValues(form, KeyCodec::MostRangeBytes).front()).value();
        std::vector<AttributeValue> values = hardValues(form, KeyCodec::MostHashBytes);
        for (const AttributeValue& value : values) {
            put(KeyCodec::encode(form, value).value(), range);
            expectItem(KeyCodec::encode(form, value).value(), range);
        }
        std::vector<AttributeValue> scanned = walked("Scan", {}, form, "h");
        std::sort(scanned.begin(), scanned.end(),
                  [](const auto& a, const auto& b) { return Items::compare(a, b) < 0; });
        EXPECT_EQ(scanned, values);
    }

    ServerProcess server_;
    QString table_;
};

TEST_F(KeysWire, StringsAreFoundAsRangeKeys)
{
    expectRangeKeysFound(Form::String);
}

TEST_F(KeysWire, NumbersAreFoundAsRangeKeys)
{
    expectRangeKeysFound(Form::Number);
}

TEST_F(KeysWire, BinariesAreFoundAsRangeKeys)
{
    expectRangeKeysFound(Form::Binary);
}

TEST_F(KeysWire, StringsAreFoundAsHashKeys)
{
    expectHashKeysFound(Form::String);
}

TEST_F(KeysWire, BinariesAreFoundAsHashKeys)
{
    expectHashKeysFound(Form::Binary);
}

TEST_F(KeysWire, ATableCanHaveAHashKeyAlone)
{
    const QString name = QString::fromLatin1(KeyCodec::NoRangeName.data(), KeyCodec::NoRangeName.size());
    createTable(name.toLatin1());
    const std::string range(KeyCodec::NoRange);
    for (const char* hash : {"a", "b", "c"}) {
        put(hash, range);
        expectItem(hash, range);
    }
    EXPECT_EQ(walked("Scan", {}, Form::String, "h").size(), 3u);
    const QVariantMap reply = request("Query", {{"HashKeyValue", typed("b")}, {"ScanIndexForward", false}});
    EXPECT_EQ(reply["Items"].toList(),
              (QVariantList{QVariantMap{{name, typed(range)}, {"h", typed("b")}, {"v", typed("x")}}}));
}

} // namespace
