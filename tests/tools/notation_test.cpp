#include "tools/notation.h"

#include <gtest/gtest.h>

#include <QVariantMap>

namespace {

using Words = std::vector<std::string>;

const std::string Forms =
    "write S:text, N:17, B:YWI= (base64), SS:a,b, NS:1,2, BS:YQ==,Yg== or JSON such as {\"S\": \"text\"}";

QVariantMap valueOf(const QString& text)
{
    QVariantMap value;
    EXPECT_EQ(Ctl::parseValue(text, &value), "") << text.toStdString();
    return value;
}

std::string errorOf(const QString& text)
{
    QVariantMap value;
    return Ctl::parseValue(text, &value);
}

std::string attributesError(const Words& words)
{
    QVariantMap attributes;
    return Ctl::parseAttributes(words, &attributes);
}

std::string objectError(const QByteArray& text)
{
    QVariantMap object;
    return Ctl::parseObject(text, "it", &object);
}

QVariantList list(const QStringList& texts)
{
    return {texts.begin(), texts.end()};
}

} // namespace

TEST(ParseValue, ReadsEveryTypeInItsShortForm)
{
    EXPECT_EQ(valueOf("S:text"), (QVariantMap{{"S", "text"}}));
    EXPECT_EQ(valueOf("S:"), (QVariantMap{{"S", ""}}));
    EXPECT_EQ(valueOf("S:a:b=c,d {\"✓\"}"), (QVariantMap{{"S", "a:b=c,d {\"✓\"}"}}));
    EXPECT_EQ(valueOf("B:YQ=="), (QVariantMap{{"B", "YQ=="}}));
    for (const char* number : {"17", "-5", "+3", "007", "1.50", "2e10", "-1.5E-3"})
        EXPECT_EQ(valueOf("N:" + QString(number)), (QVariantMap{{"N", number}}));
    EXPECT_EQ(valueOf("SS:a,b"), (QVariantMap{{"SS", list({"a", "b"})}}));
    EXPECT_EQ(valueOf("SS:a,,"), (QVariantMap{{"SS", list({"a", "", ""})}}));
    EXPECT_EQ(valueOf("SS:"), (QVariantMap{{"SS", QVariantList()}}));
    EXPECT_EQ(valueOf("NS:1,2.5"), (QVariantMap{{"NS", list({"1", "2.5"})}}));
    EXPECT_EQ(valueOf("BS:YQ==,Yg=="), (QVariantMap{{"BS", list({"YQ==", "Yg=="})}}));
}

TEST(ParseValue, ReadsJson)
{
    EXPECT_EQ(valueOf("{\"S\": \"a\"}"), (QVariantMap{{"S", "a"}}));
    EXPECT_EQ(valueOf("{\"SS\": [\"a,b\", \"\"]}"), (QVariantMap{{"SS", list({"a,b", ""})}}));
}

TEST(ParseValue, RefusesWhatHasNoTypeOrDoesNotFit)
{
    for (const char* text : {"text", "", ":", "s:text", "X:1", "17", " S:a"})
        EXPECT_EQ(errorOf(text), '"' + std::string(text) + "\" has no type; " + Forms);
    EXPECT_EQ(errorOf("{}"), "\"{}\" has no type; " + Forms);
    EXPECT_EQ(errorOf("{\"S\":\"a\",\"N\":\"1\"}"), "\"{\"N\":\"1\",\"S\":\"a\"}\" has no type; " + Forms);
    for (const char* text : {"abc", "", "1.", ".5", "1 ", "0x10", "1e", "1\n"})
        EXPECT_EQ(errorOf("N:" + QString(text)), '"' + std::string(text) + "\" is not a number");
    EXPECT_EQ(errorOf("NS:1,b"), "\"b\" is not a number");
    EXPECT_EQ(errorOf("{\"N\": 17}"), "a value of type N must be a string");
    EXPECT_EQ(errorOf("{\"S\": [\"a\"]}"), "a value of type S must be a string");
    EXPECT_EQ(errorOf("{\"SS\": \"a\"}"), "a value of type SS must be a list of strings");
    EXPECT_EQ(errorOf("{\"SS\": [1]}"), "a value of type SS must be a list of strings");
    EXPECT_EQ(errorOf("{\"S\": \"a\""),
              "the value is not valid JSON, at character 10: Missing a comma or '}' after an object member");
}

TEST(ParseValue, RefusesBinaryThatIsNoBase64)
{
    for (const char* text : {"", "YQ==", "YWI=", "YWJj", "+/+/YQ=="})
        EXPECT_EQ(valueOf("B:" + QString(text)), (QVariantMap{{"B", text}}));
    for (const char* text :
         {"a", "ab", "abc", "YQ=", "Y===", "====", "=", "Y=Q=", "YQ==YQ==", "YQ==\n", " YQ=", "Y-_=", "\xc3\xa4YQ"})
        EXPECT_EQ(errorOf("B:" + QString(text)), '"' + std::string(text) + "\" is not base64");
    EXPECT_EQ(errorOf("BS:YQ==,b"), "\"b\" is not base64");
    EXPECT_EQ(errorOf("{\"BS\": [\"YQ==\", \"b\"]}"), "\"b\" is not base64");
}

TEST(ParseValue, ShowsTheBeginningOfALongValue)
{
    EXPECT_EQ(errorOf(QString(100, 'x')), '"' + std::string(60, 'x') + "...\" has no type; " + Forms);
}

TEST(ParseAttributes, CollectsWordsAndObjects)
{
    QVariantMap attributes;
    EXPECT_EQ(Ctl::parseAttributes({"a=S:x=y", "{\"b=c\": {\"N\": \"1\"}, \"d\": {\"S\": \"\"}}"}, &attributes), "");
    EXPECT_EQ(attributes,
              (QVariantMap{
                  {"a", QVariantMap{{"S", "x=y"}}}, {"b=c", QVariantMap{{"N", "1"}}}, {"d", QVariantMap{{"S", ""}}}}));
}

TEST(ParseAttributes, RefusesWhatIsNone)
{
    for (const char* word : {"total", "=S:x", ""})
        EXPECT_EQ(attributesError({word}),
                  '"' + std::string(word) + "\" is not an attribute; write NAME=VALUE, such as total=N:17");
    EXPECT_EQ(attributesError({"a=1"}), "attribute \"a\": \"1\" has no type; " + Forms);
    EXPECT_EQ(attributesError({"a=S:1", "a=S:2"}), "attribute \"a\" is given twice");
    EXPECT_EQ(attributesError({"a=S:1", "{\"a\":{\"S\":\"2\"}}"}), "attribute \"a\" is given twice");
    EXPECT_EQ(attributesError({"{\"a\": 1}"}), "attribute \"a\": \"1\" has no type; " + Forms);
    EXPECT_EQ(attributesError({"{\"a\"}"}),
              "\"{\"a\"}\" is not valid JSON, at character 5: Missing a colon after a name of object member");
    EXPECT_EQ(attributesError({"a=S:\xe9"}), "an attribute is not UTF-8");
}

TEST(ParseObject, ReportsLineAndCharacter)
{
    EXPECT_EQ(objectError("{\"ä✓\" 1}"),
              "it is not valid JSON, at character 7: Missing a colon after a name of object member");
    EXPECT_EQ(objectError("{\n \"a\": x\n}\n"), "it is not valid JSON, at line 2, character 7: Invalid value");
    EXPECT_EQ(objectError("{\"a\" 1}\n"),
              "it is not valid JSON, at character 6: Missing a colon after a name of object member");
    EXPECT_EQ(objectError("[1]"), "it is not a JSON object, {...}");
    EXPECT_EQ(objectError("1"), "it is not a JSON object, {...}");
    EXPECT_EQ(objectError(""), "it is not valid JSON, at character 1: The document is empty");
}

TEST(DecodeKey, TakesLatin1Only)
{
    QString key = "before";
    EXPECT_EQ(Ctl::decodeKey("\xc3\xbf", "the key", &key), "");
    EXPECT_EQ(key, QString(QChar(0xff)));
    EXPECT_EQ(Ctl::decodeKey("", "the key", &key), "");
    EXPECT_EQ(key, "");
    EXPECT_EQ(Ctl::decodeKey("\xc4\x80", "the key", &key), "the key has a character outside Latin-1: \"\xc4\x80\"");
    EXPECT_EQ(Ctl::decodeKey("\xff", "the key", &key), "the key is not UTF-8");
}
