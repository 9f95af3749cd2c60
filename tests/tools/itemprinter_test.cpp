#include "tools/itemprinter.h"

#include "tools/itemtable.h"
#include "tools/prettyitems.h"
#include "json/jsonreader.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

QVariantMap itemOf(const QByteArray& json)
{
    QVariant parsed;
    EXPECT_TRUE(Json::parse(json, &parsed)) << json.toStdString();
    return parsed.toMap();
}

std::string pretty(const QByteArray& json)
{
    return Ctl::PrettyItems::textOf(itemOf(json), {"h", "r"}).toStdString();
}

std::string table(const std::vector<QByteArray>& lines, const QStringList& first = {"h", "r"})
{
    std::vector<QVariantMap> items;
    for (const QByteArray& line : lines)
        items.push_back(itemOf(line));
    return Ctl::ItemTable::textOf(items, first).toStdString();
}

} // namespace

TEST(PrettyItems, HaveOneAttributePerLineAndTheKeysFirst)
{
    EXPECT_EQ(
        pretty(R"({"a":{"N":"1"},"h":{"S":"x, \"y\": z"},"r":{"S":""},"t":{"SS":["a","b:c"]},"z":[1,{"q":null}]})"),
        "{\n"
        "  \"h\": {\"S\": \"x, \\\"y\\\": z\"},\n"
        "  \"r\": {\"S\": \"\"},\n"
        "  \"a\": {\"N\": \"1\"},\n"
        "  \"t\": {\"SS\": [\"a\", \"b:c\"]},\n"
        "  \"z\": [1, {\"q\": null}]\n"
        "}\n");
    EXPECT_EQ(pretty("{}"), "{}\n");
}

TEST(PrettyItems, EscapeWhatATerminalWouldObeyAndStayTheSameJson)
{
    const QByteArray json = R"({"h":{"S":"\u001b[2J\u009b\u007f\u202e\\"},"n\u0085":{"S":"\\\""}})";
    EXPECT_EQ(pretty(json), "{\n"
                            "  \"h\": {\"S\": \"\\u001B[2J\\u009b\\u007f\\u202e\\\\\"},\n"
                            "  \"n\\u0085\": {\"S\": \"\\\\\\\"\"}\n"
                            "}\n");
    EXPECT_EQ(itemOf(QByteArray::fromStdString(pretty(json))), itemOf(json));
}

TEST(ItemTable, AlignsColumnsWithNumbersAtTheRight)
{
    EXPECT_EQ(table({R"({"h":{"S":"abc"},"r":{"S":"1"},"total":{"N":"17"},"tags":{"SS":["new","paid"]}})",
                     R"({"h":{"S":"größer"},"r":{"S":""},"total":{"N":"-1.5"},"b":{"B":"YWI="}})"}),
              "h       r   b     tags         total\n"
              "------  --  ----  -----------  -----\n"
              "abc     1         {new, paid}     17\n"
              "größer  \"\"  YWI=                -1.5\n");
}

TEST(ItemTable, PutsTheChosenAttributesFirstInTheirOrder)
{
    EXPECT_EQ(table({R"({"a":{"S":"1"},"b":{"S":"2"},"c":{"S":"3"},"h":{"S":"4"}})"}, {"h", "none", "c"}),
              "h  c  a  b\n"
              "-  -  -  -\n"
              "4  3  1  2\n");
}

TEST(ItemTable, EscapesControlCharactersAndCountsTheColumnsOfWideOnes)
{
    EXPECT_EQ(table({R"({"h":{"S":"東京"},"r":{"S":"a\n\u001b[0m"}})", R"({"h":{"S":"x"},"r\u0007":{"S":"y"}})"}),
              "h     r             r\\u0007\n"
              "----  ------------  -------\n"
              "東京  a\\n\\u001b[0m\n"
              "x                   y\n");
}

TEST(ItemTable, CutsLongValuesAndShowsOthersThanTheUsualTypesAsJson)
{
    const std::string shown = table({R"({"h":{"S":")" + QByteArray(100, 'x') + R"("},"r":[1,{"N":2}]})"});
    EXPECT_EQ(shown, "h" + std::string(61, ' ') + "r\n" + std::string(60, '-') + "  " + std::string(11, '-') + '\n' +
                         std::string(59, 'x') + "…  [1,{\"N\":2}]\n");
}
