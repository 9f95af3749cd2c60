#include "records/itemkeys.h"

#include "items.h"
#include "recordlines.h"
#include "records/requeststatus.h"
#include "records/tablecontext.h"
#include "json/canonicaltext.h"
#include "json/usualreader.h"

#include <gtest/gtest.h>

#include <random>

namespace {

KeySchema schemaOf(const QString& hash, const QString& range)
{
    const auto element = [](const QString& name) {
        return QVariantMap{{"AttributeName", name}, {"AttributeType", "S"}};
    };
    return {element(hash), element(range)};
}

struct Taken {
    int status = -1;
    QByteArray hash = "before";
    QByteArray range = "before";
    QByteArray stored = "before";
    Lines lines;

    bool operator==(const Taken&) const = default;
};

Taken take(const KeySchema& schema, const QVariant& item)
{
    Taken taken;
    const LogCapture log;
    taken.status = Records::takeKeys(schema, item, &taken.hash, &taken.range, &taken.stored);
    taken.lines = recordLines(log);
    if (taken.status != 0)
        taken.hash = taken.range = QByteArray(); // of no use
    return taken;
}

/** The item as the server reads it from a request. */
QVariant read(const QByteArray& item)
{
    constexpr const char* path[] = {"Item"};
    QVariant body;
    EXPECT_TRUE(Json::parseUsual(R"({"Item":)" + item + "}", &body, path)) << item.toStdString();
    return body.toMap().value("Item");
}

bool isText(const QVariant& item)
{
    return item.metaType() == QMetaType::fromType<Json::SplitObject>();
}

TEST(TakeKeys, CutsThemOutOfTheText)
{
    const KeySchema schema = schemaOf("id", "when");
    struct Case {
        QByteArray item;
        QByteArray stored;
    };
    const Case cases[] = {
        {R"({"id":{"S":"h"},"when":{"S":"r"}})", "{}"},
        {R"({"a":{"N":"1"},"id":{"S":"h"},"when":{"S":"r"}})", R"({"a":{"N":"1"}})"},
        {R"({"id":{"S":"h"},"j":{"N":"1"},"when":{"S":"r"}})", R"({"j":{"N":"1"}})"},
        {R"({"id":{"S":"h"},"when":{"S":"r"},"z":{"S":"é\n"}})", R"({"z":{"S":"é\n"}})"},
        {R"({"a":1,"b":[],"id":{"S":"h"},"j":{},"k":null,"when":{"S":"r"},"x":true,"y":"s"})",
         R"({"a":1,"b":[],"j":{},"k":null,"x":true,"y":"s"})"},
    };
    for (const Case& c : cases) {
        const QVariant item = read(c.item);
        ASSERT_TRUE(isText(item)) << c.item.toStdString();
        EXPECT_EQ(take(schema, item), (Taken{0, "h", "r", c.stored, {}})) << c.item.toStdString();
    }
    // The names in the other order.
    EXPECT_EQ(take(schemaOf("when", "id"), read(cases[2].item)), (Taken{0, "r", "h", cases[2].stored, {}}));
}

TEST(TakeKeys, GivesTheSameForTextAndTree)
{
    const QByteArray keys[] = {R"({"S":"x"})",
                               R"({"S":""})",
                               R"({"S":"a b\u0001"})",
                               R"({"S":"q\"q"})",
                               R"({"S":"é"})",
                               R"({"S":"€"})",
                               R"({"S":5})",
                               R"({"S":null})",
                               R"({"S":{"S":"x"}})",
                               R"({"N":"5"})",
                               R"({"S":"x","T":"y"})",
                               R"({"A":"y","S":"x"})",
                               R"({})",
                               R"("x")",
                               "5",
                               "null",
                               R"(["S","x"])",
                               R"({"S":["x"]})",
                               R"({ "S" : "x" })",
                               R"({"S":"\u0041"})",
                               R"({"S":"x","S":"y"})",
                               R"({"S":"\ud83d\ude00"})",
                               R"({"S":1.50})"};
    const QByteArray others[] = {"", R"("a":{"S":"x"})", R"("zz":1.0)", R"("zz":[1,{"b":1,"a":2}])",
                                 R"("a":{"S":"x"},"zz":{"N":"1"})"};

    int texts = 0;
    for (const QByteArray& hash : keys) {
        for (const QByteArray& range : keys) {
            for (const QByteArray& other : others) {
                for (int shape = 0; shape < 5; ++shape) {
                    QByteArrayList members;
                    if (shape != 3)
                        members.append(R"("id":)" + hash);
                    if (shape != 4)
                        members.append(R"("when":)" + range);
                    if (shape == 1)
                        members.append(R"("when":)" + range);
                    if (!other.isEmpty())
                        members.insert(shape == 2 ? 0 : members.size(), other);
                    const QByteArray text = '{' + members.join(',') + '}';
                    const QVariant item = read(text);
                    texts += isText(item) ? 1 : 0;
                    for (const KeySchema& schema :
                         {schemaOf("id", "when"), schemaOf("when", "id"), schemaOf("id", "id"), schemaOf("id", "é")})
                        ASSERT_EQ(take(schema, item), take(schema, json(text))) << text.toStdString();
                }
            }
        }
    }
    EXPECT_GT(texts, 500); // so the comparison was made
}

TEST(TakeKeys, OfAnythingButAnObjectIsWithoutKeys)
{
    for (const QByteArray item : {"5", "[]", "null", "\"x\""})
        EXPECT_EQ(take(schemaOf("id", "when"), read(item)),
                  (Taken{StatusInternalError, "", "", "before", {"[ERROR] bdbrequest # attr missing"}}));
}

} // namespace
