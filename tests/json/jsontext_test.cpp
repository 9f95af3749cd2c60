#include "json/jsontext.h"

#include "json/jsonwriter.h"

#include <QVariantList>
#include <QVariantMap>

#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace {

using namespace Qt::StringLiterals;

std::string written(const std::function<void(Json::TextWriter&)>& write, const QByteArray& front = {})
{
    Json::TextWriter writer(front);
    write(writer);
    return writer.take().toStdString();
}

TEST(RawText, IsWrittenVerbatim)
{
    const auto raw = [](const QByteArray& text) { return QVariant::fromValue(Json::RawText{text}); };
    EXPECT_EQ(Json::serialize(raw(R"({"b":1, "a":2})")), R"({"b":1, "a":2})");
    EXPECT_EQ(Json::serialize(QVariantMap{{"a", 1}, {"b", raw("[1,2]")}, {"c", raw("{}")}, {"d", "x"}}),
              R"({"a":1,"b":[1,2],"c":{},"d":"x"})");
    EXPECT_EQ(Json::serialize(QVariantList{raw("1"), raw("\"two\""), 3}), R"([1,"two",3])");
}

TEST(RawElements, AreWrittenInBrackets)
{
    const auto raw = [](const QByteArray& text) { return QVariant::fromValue(Json::RawElements{text}); };
    EXPECT_EQ(Json::serialize(raw("")), "[]");
    EXPECT_EQ(Json::serialize(QVariantMap{{"a", raw("{},2")}, {"b", 1}}), R"({"a":[{},2],"b":1})");
}

TEST(RawText, OfAnySizeIsAppended)
{
    for (const int size : {0, 1, 500, 511, 512, 513, 4096, 100000}) {
        const QByteArray text = '"' + QByteArray(size, 'x') + '"';
        QByteArray out = "head";
        Json::append(QVariantMap{{"a", QVariant::fromValue(Json::RawText{text})}, {"b", 1}}, &out);
        EXPECT_EQ(out, "head{\"a\":" + text + ",\"b\":1}") << size;
    }
}

TEST(RawElements, GetACommaBeforeEachButTheFirst)
{
    Json::RawElements elements;
    for (const QByteArray& element : {QByteArray("1"), QByteArray("{}"), QByteArray("\"x\"")}) {
        Json::beginElement(&elements.text);
        elements.text += element;
    }
    EXPECT_EQ(elements.text, "1,{},\"x\"");
    EXPECT_EQ(Json::serialize(QVariant::fromValue(elements)), "[1,{},\"x\"]");
}

TEST(TextWriter, WritesEmptyContainers)
{
    EXPECT_EQ(written([](auto&) {}), "");
    EXPECT_EQ(written([](auto& to) {
                  to.beginObject();
                  to.endObject();
              }),
              "{}");
    EXPECT_EQ(written([](auto& to) {
                  to.beginArray();
                  to.beginArray();
                  to.endArray();
                  to.beginObject();
                  to.endObject();
                  to.endArray();
              }),
              "[[],{}]");
}

TEST(TextWriter, SetsCommasBetweenMembersAndElementsOfEveryKind)
{
    EXPECT_EQ(written([](auto& to) {
                  to.beginObject();
                  to.name("a"_L1);
                  to.put("1");
                  to.nameText(R"("\"")");
                  to.putLatin1("x");
                  to.put(R"("c":2,"d":[3])");
                  to.name(""_L1);
                  to.beginArray();
                  to.put("4,5");
                  to.putLatin1("");
                  to.beginObject();
                  to.name("e"_L1);
                  to.beginObject();
                  to.endObject();
                  to.endObject();
                  to.beginArray();
                  to.put("null");
                  to.endArray();
                  to.put("true");
                  to.endArray();
                  to.name("f"_L1);
                  to.put("6");
                  to.endObject();
              }),
              R"({"a":1,"\"":"x","c":2,"d":[3],"":[4,5,"",{"e":{}},[null],true],"f":6})");
}

TEST(TextWriter, AppendsToTheBytesBefore)
{
    QByteArray front = "head";
    const QByteArray shared = front;
    EXPECT_EQ(written(
                  [](auto& to) {
                      to.beginArray();
                      to.put("1");
                      to.endArray();
                  },
                  front),
              "head[1]");
    EXPECT_EQ(shared, "head");
}

TEST(TextWriter, PutsLatin1AsAByteArrayInATreeIsWritten)
{
    QByteArray all;
    for (int c = 1; c < 256; ++c)
        all.append(static_cast<char>(c));
    for (const QByteArray& bytes :
         {QByteArray(), QByteArray("plain text"), QByteArray("with \"quotes\""), QByteArray("back\\slash"),
          QByteArray("\xe4\xf6\xfc"), QByteArray("a\0b", 3), QByteArray("\0", 1), QByteArray("\x7f\n"), all})
        EXPECT_EQ(written([&](auto& to) {
                      to.beginArray();
                      to.put("1");
                      to.putLatin1(bytes);
                      to.endArray();
                  }),
                  ("[1," + Json::serialize(bytes) + ']').toStdString());
}

} // namespace
