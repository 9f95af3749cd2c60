#include "records/itemformatter.h"

#include "records/items.h"

#include <gtest/gtest.h>

#include <optional>

namespace {

/** An item that is read by its key. */
QByteArray formatted(const QByteArray& stored, const std::optional<QVariantList>& attributesToGet = std::nullopt)
{
    ItemFormatter format;
    if (attributesToGet)
        format.keepOnly(*attributesToGet);
    QByteArray out = "in front ";
    EXPECT_TRUE(format.append(stored, &out));
    EXPECT_TRUE(out.startsWith("in front "));
    return out.sliced(9);
}

/** An item of a walk, with the keys "h" and "r". */
QByteArray walked(const QByteArray& stored, const KeyNames& names = {"id", "when"},
                  const std::optional<QVariantList>& attributesToGet = std::nullopt)
{
    ItemFormatter format(names);
    if (attributesToGet)
        format.keepOnly(*attributesToGet);
    QByteArray out = "in front ";
    EXPECT_TRUE(format.append(stored, "h", "r", &out));
    EXPECT_TRUE(out.startsWith("in front "));
    return out.sliced(9);
}

/** The same item in a form other than the stored one, so that it has to be parsed. */
QByteArray respelled(QByteArray stored)
{
    return ' ' + stored.replace(R"(":)", R"(" : )");
}

const QByteArray Stored = R"({"a":{"S":"1"},"b":{"SS":["x","y"]},"c":{"N":"3"}})";

TEST(ItemFormatter, ItemReadByItsKeyIsTheStoredOne)
{
    for (const QByteArray& item : {Stored, QByteArray("{}"), QByteArray(R"({"a":{"S":"\u0001\"\\ä"}})")}) {
        EXPECT_EQ(formatted(item), item);
        EXPECT_EQ(formatted(respelled(item)), item);
    }
}

TEST(ItemFormatter, TextThatIsNoObjectIsAnEmptyItem)
{
    for (const char* text : {"[]", "1", "null", "\"text\"", " [ ]"}) {
        EXPECT_EQ(formatted(text), "{}") << text;
        EXPECT_EQ(walked(text), R"({"id":{"S":"h"},"when":{"S":"r"}})") << text;
    }
}

TEST(ItemFormatter, TextThatIsNotJsonChangesNothing)
{
    ItemFormatter byKey;
    ItemFormatter ofWalk(KeyNames{"id", "when"});
    for (const QByteArray& text : {QByteArray(), QByteArray("{"), QByteArray(R"({"a":1}x)"), QByteArray("{}\0", 3),
                                   QByteArray("{\"a\":\"\xff\"}")}) {
        QByteArray out = "before";
        EXPECT_FALSE(byKey.append(text, &out));
        EXPECT_FALSE(ofWalk.append(text, "h", "r", &out));
        EXPECT_EQ(out, "before");
    }
}

TEST(ItemFormatter, KeysOfAWalkStandAtTheirPlaceInNameOrder)
{
    struct Case {
        KeyNames names;
        QByteArray item;
    };
    const QByteArray a = R"("a":{"S":"1"})", b = R"("b":{"SS":["x","y"]})", c = R"("c":{"N":"3"})";
    const QByteArray h = R"({"S":"h"})", r = R"({"S":"r"})";
    const Case cases[] = {
        {{"A", "B"}, R"({"A":)" + h + R"(,"B":)" + r + ',' + a + ',' + b + ',' + c + '}'},
        {{"B", "A"}, R"({"A":)" + r + R"(,"B":)" + h + ',' + a + ',' + b + ',' + c + '}'},
        {{"", "z"}, R"({"":)" + h + ',' + a + ',' + b + ',' + c + R"(,"z":)" + r + '}'},
        {{"bb", "ab"}, '{' + a + R"(,"ab":)" + r + ',' + b + R"(,"bb":)" + h + ',' + c + '}'},
        {{"d", "e"}, '{' + a + ',' + b + ',' + c + R"(,"d":)" + h + R"(,"e":)" + r + '}'},
        {{"a", "c"}, R"({"a":)" + h + ',' + b + R"(,"c":)" + r + '}'}, // they replace stored attributes of these names
        {{"b", "b"}, '{' + a + R"(,"b":)" + r + ',' + c + '}'},        // the same name for both: the range key wins
        {{"\"", "\xc3\xa4"}, R"({"\"":)" + h + ',' + a + ',' + b + ',' + c + ",\"\xc3\xa4\":" + r + '}'},
        {{QString::fromUcs4(U"\U0001f600"), QString(u'\ufffd')}, // in UTF-16 order, as everywhere
         '{' + a + ',' + b + ',' + c + ",\"\xf0\x9f\x98\x80\":" + h + ",\"\xef\xbf\xbd\":" + r + '}'},
    };
    for (const Case& k : cases) {
        EXPECT_EQ(walked(Stored, k.names), k.item);
        EXPECT_EQ(walked(respelled(Stored), k.names), k.item);
    }
}

TEST(ItemFormatter, KeysAreLatin1AndEndBeforeAZeroByte)
{
    ItemFormatter format(KeyNames{"h", "r"});
    for (const QByteArray& stored : {QByteArray(R"({"a":1})"), QByteArray(R"({ "a":1})")}) {
        QByteArray out;
        ASSERT_TRUE(format.append(stored, "\xe4\"\n", QByteArray("ab\0cd", 5), &out));
        EXPECT_EQ(out, "{\"a\":1,\"h\":{\"S\":\"\xc3\xa4\\\"\\n\"},\"r\":{\"S\":\"ab\"}}");
    }
}

TEST(ItemFormatter, EachItemHasItsOwnKeysAndAttributes)
{
    ItemFormatter format(KeyNames{"h", "r"});
    QByteArray out;
    ASSERT_TRUE(format.append(R"({"a":1,"b":2})", "long hash", "long range", &out));
    ASSERT_TRUE(format.append(R"({ "c":3})", "x", "y", &out));
    ASSERT_TRUE(format.append(R"({"d":4})", "", "z", &out));
    EXPECT_EQ(out, R"({"a":1,"b":2,"h":{"S":"long hash"},"r":{"S":"long range"}})"
                   R"({"c":3,"h":{"S":"x"},"r":{"S":"y"}})"
                   R"({"d":4,"h":{"S":""},"r":{"S":"z"}})");
}

TEST(ItemFormatter, KeepsOnlyTheListedAttributes)
{
    struct Case {
        QVariantList wanted;
        QByteArray stored;
        QByteArray left;
    };
    const Case cases[] = {
        {{"a", "c"}, Stored, R"("a":{"S":"1"},"c":{"N":"3"})"},
        {{"c", "a", "c", "missing"}, Stored, R"("a":{"S":"1"},"c":{"N":"3"})"},
        {{}, Stored, ""},
        {{"missing"}, Stored, ""},
        {{"A"}, Stored, ""},
        {{"a"}, "{}", ""},
        {{""}, R"({"":{"S":"1"},"a":{"S":"2"}})", R"("":{"S":"1"})"},
        {{5, QVariant(), QVariantMap{{"a", "b"}}}, // names of other types are converted to strings
         R"({"5":{"S":"1"},"a":{"S":"2"}})",
         R"("5":{"S":"1"})"},
        {{QString(u'ä')}, "{\"a\":{\"S\":\"1\"},\"\xc3\xa4\":{\"S\":\"2\"}}", "\"\xc3\xa4\":{\"S\":\"2\"}"},
    };
    const QByteArray keys = R"("~h":{"S":"h"},"~r":{"S":"r"})";
    for (const Case& c : cases) {
        const bool isAscii = !c.left.contains('\xc3');
        for (const QByteArray& stored : {c.stored, respelled(c.stored)}) {
            EXPECT_EQ(formatted(stored, c.wanted), '{' + c.left + '}');
            if (isAscii) {
                const QByteArray item = '{' + c.left + (c.left.isEmpty() ? "" : ",") + keys + '}';
                EXPECT_EQ(walked(stored, {"~h", "~r"}, c.wanted), item);
            }
        }
    }
}

TEST(ItemFormatter, ListSparesNoKeyAttributesOfAnItemReadByItsKey)
{
    EXPECT_EQ(formatted(R"({"a":{"S":"1"},"id":{"S":"h"}})", QVariantList{"a"}), R"({"a":{"S":"1"}})");
}

} // namespace
