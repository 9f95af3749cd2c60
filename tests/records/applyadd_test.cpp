#include "records/attributevalues.h"
#include "records/items.h"
#include "records/recordlines.h"
#include "records/requeststatus.h"

#include <gtest/gtest.h>

namespace {

struct AddCase {
    QByteArray current;
    QByteArray addend;
    QByteArray sum; // as stored
};

void addAll(std::initializer_list<AddCase> cases)
{
    for (const AddCase& c : cases) {
        const LogCapture log;
        QVariantMap current = json(c.current);
        EXPECT_EQ(Records::applyAdd(&current, json(c.addend)), StatusSuccess)
            << c.current.toStdString() << " + " << c.addend.toStdString();
        EXPECT_EQ(Json::serialize(current), c.sum) << c.current.toStdString() << " + " << c.addend.toStdString();
        EXPECT_EQ(recordLines(log), Lines());
    }
}

TEST(ApplyAdd, AddsIntegers)
{
    addAll({
        {R"({"N":"-7"})", R"({"N":"5"})", R"({"N":"-2"})"},
        {R"({"N":"5"})", R"({"N":"-7"})", R"({"N":"-2"})"},
        {R"({"N":"0"})", R"({"N":"0"})", R"({"N":"0"})"},
        {R"({"N":"007"})", R"({"N":"1"})", R"({"N":"8"})"},
        {R"({"N":" 5 "})", R"({"N":"+2"})", R"({"N":"7"})"},
        {R"({"N":"\t5\n"})", R"({"N":"2"})", R"({"N":"7"})"},
        {R"({"N":5})", R"({"N":2})", R"({"N":"7"})"},
        {R"({"N":"9223372036854775806"})", R"({"N":"1"})", R"({"N":"9223372036854775807"})"},
    });
}

TEST(ApplyAdd, KeepsNoFractionsAndCountsOtherTextAsZero)
{
    addAll({
        {R"({"N":"1.5"})", R"({"N":"2"})", R"({"N":"2"})"},
        {R"({"N":"2"})", R"({"N":"1.5"})", R"({"N":"2"})"},
        {R"({"N":"1.5"})", R"({"N":"1.5"})", R"({"N":"0"})"},
        {R"({"N":"x"})", R"({"N":"2"})", R"({"N":"2"})"},
        {R"({"N":""})", R"({"N":"2"})", R"({"N":"2"})"},
        {R"({"N":null})", R"({"N":"2"})", R"({"N":"2"})"},
        {R"({"N":"1e2"})", R"({"N":"2"})", R"({"N":"2"})"},
        {R"({"N":"- 5"})", R"({"N":"2"})", R"({"N":"2"})"},
        {R"({"N":"9223372036854775808"})", R"({"N":"2"})", R"({"N":"2"})"}, // out of range
    });
}

TEST(ApplyAdd, ASumBeyond64BitsWraps)
{
    addAll({
        {R"({"N":"9223372036854775807"})", R"({"N":"1"})", R"({"N":"-9223372036854775808"})"},
        {R"({"N":"-9223372036854775808"})", R"({"N":"-1"})", R"({"N":"9223372036854775807"})"},
        {R"({"N":"-9223372036854775808"})", R"({"N":"-9223372036854775808"})", R"({"N":"0"})"},
    });
}

TEST(ApplyAdd, JoinsStrings)
{
    addAll({
        {R"({"S":"ab"})", R"({"S":"xy"})", R"({"S":"abxy"})"},
        {R"({"S":""})", R"({"S":"xy"})", R"({"S":"xy"})"},
        {R"({"S":"ab"})", R"({"S":""})", R"({"S":"ab"})"},
        {R"({"S":""})", R"({"S":""})", R"({"S":""})"},
        {R"({"S":"1"})", R"({"S":"2"})", R"({"S":"12"})"},
        {R"({"S":"\u00e9"})", R"({"S":"\u00ff"})", "{\"S\":\"\xc3\xa9\xc3\xbf\"}"},
    });
}

TEST(ApplyAdd, LosesNothingOfTextThatLatin1Lacks)
{
    addAll({
        {R"({"S":"\u20ac"})", R"({"S":"x"})", "{\"S\":\"\xe2\x82\xacx\"}"},
        {R"({"S":"x"})", R"({"S":"\u20ac"})", "{\"S\":\"x\xe2\x82\xac\"}"},
        {R"({"S":"\u4e2d"})", R"({"S":"\ud83d\ude00"})", "{\"S\":\"\xe4\xb8\xad\xf0\x9f\x98\x80\"}"},
        {R"({"S":"\u20ac\u0000x"})", R"({"S":"y"})", "{\"S\":\"\xe2\x82\xac\\u0000xy\"}"},
    });
}

TEST(ApplyAdd, Latin1TextEndsAtItsFirstZeroByte)
{
    addAll({
        {R"({"S":"a\u0000b"})", R"({"S":"c"})", R"({"S":"a"})"},
        {R"({"S":"a"})", R"({"S":"\u0000c"})", R"({"S":"a"})"},
    });
}

TEST(ApplyAdd, TheResultIsBytesAndOneZeroByte)
{
    QVariantMap number = json(R"({"N":"5"})");
    ASSERT_EQ(Records::applyAdd(&number, json(R"({"N":"2"})")), StatusSuccess);
    EXPECT_EQ(number.value("N"), QVariant(QByteArray("7\0", 2)));

    QVariantMap text = json(R"({"S":"ab"})");
    ASSERT_EQ(Records::applyAdd(&text, json(R"({"S":"\u00e9"})")), StatusSuccess);
    EXPECT_EQ(text.value("S"), QVariant(QByteArray("ab\xe9\0", 4)));
}

TEST(ApplyAdd, TheNumberDecidesWhenTheAddendHasOne)
{
    addAll({
        {R"({"N":"1","S":"a"})", R"({"N":"2","S":"b"})", R"({"N":"3","S":"a"})"},
        {R"({"N":"1","S":"a"})", R"({"S":"b"})", R"({"N":"1","S":"ab"})"},
    });
}

TEST(ApplyAdd, RefusesOtherAndUnequalTypes)
{
    const std::pair<QByteArray, QByteArray> cases[] = {
        {R"({"S":"1"})", R"({"N":"1"})"},
        {R"({"N":"1"})", R"({"S":"1"})"},
        {R"({"SS":["a"]})", R"({"SS":["b"]})"},
        {R"({"NS":["1"]})", R"({"NS":["2"]})"},
        {R"({"B":"AA"})", R"({"B":"BB"})"},
        {R"({"BS":["A"]})", R"({"BS":["B"]})"},
        {R"({"SS":["a"]})", R"({"S":"b"})"},
        {R"({"NS":["1"]})", R"({"N":"2"})"},
        {R"({"S":"a"})", R"({"SS":["b"]})"},
        {R"({"N":"1"})", "{}"},
        {"{}", R"({"N":"1"})"},
        {"{}", R"({"S":"a"})"},
        {"{}", "{}"},
        {R"({"S":"a"})", R"({"N":"1","S":"a"})"},
    };
    for (const auto& [before, addend] : cases) {
        const LogCapture log;
        QVariantMap current = json(before);
        EXPECT_EQ(Records::applyAdd(&current, json(addend)), StatusNotFound)
            << before.toStdString() << " + " << addend.toStdString();
        EXPECT_EQ(current, json(before));
        EXPECT_EQ(recordLines(log), AttrMissing) << before.toStdString() << " + " << addend.toStdString();
    }
}

} // namespace
