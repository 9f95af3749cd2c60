#include "http/replytext.h"

#include <gtest/gtest.h>

namespace {

/** "STATUS OUTCOME BODY". */
std::string translated(const Operations::Operation& operation, const QByteArray& reply)
{
    Http::Answer answer;
    EXPECT_TRUE(Http::translateReply(operation, reply, &answer)) << reply.toStdString();
    return std::to_string(answer.status) + ' ' + answer.outcome.toStdString() + ' ' + answer.body.toStdString();
}

} // namespace

TEST(TranslateReply, TheEnvelopeGoesAndTheRestStaysByteForByte)
{
    EXPECT_EQ(translated(Operations::GetItem,
                         R"({"z":1.50,"__rc":200,"a": {"b":[1E+2, -0]},"__rcstr":"OK","\u0061":"\u00fc"})"),
              R"(200 OK {"z":1.50,"a":{"b":[1E+2, -0]},"\u0061":"\u00fc"})");
    EXPECT_EQ(translated(Operations::GetItem, R"({"__rc":200,"__rcstr":"OK"})"), "200 OK {}");
    EXPECT_EQ(translated(Operations::GetItem, R"({"__rc":200})"), "200  {}");
}

TEST(TranslateReply, TheLastKeysBareStringsAreWrapped)
{
    for (const Operations::Operation& operation : {Operations::Scan, Operations::Query})
        EXPECT_EQ(
            translated(operation,
                       R"({"Count":0,"LastEvaluatedKey":{"HashKeyElement":"a\"b","RangeKeyElement":"ü"},"__rc":200})"),
            R"(200  {"Count":0,"LastEvaluatedKey":{"HashKeyElement":{"S":"a\"b"},"RangeKeyElement":{"S":"ü"}}})");
}

TEST(TranslateReply, WhatIsNoBareStringInTheLastKeyStays)
{
    EXPECT_EQ(translated(Operations::Scan, R"({"LastEvaluatedKey":{"HashKeyElement":{"S":"a"},"x":1},"__rc":200})"),
              R"(200  {"LastEvaluatedKey":{"HashKeyElement":{"S":"a"},"x":1}})");
    EXPECT_EQ(translated(Operations::Scan, R"({"LastEvaluatedKey":"a","__rc":200})"),
              R"(200  {"LastEvaluatedKey":"a"})");
}

TEST(TranslateReply, OnlyAnUpdatesAttributesHoldKeys)
{
    const QByteArray reply = R"({"Attributes":{"k":"a","n":{"N":"1"}},"__rc":200})";
    EXPECT_EQ(translated(Operations::UpdateItem, reply), R"(200  {"Attributes":{"k":{"S":"a"},"n":{"N":"1"}}})");
    EXPECT_EQ(translated(Operations::PutItem, reply), R"(200  {"Attributes":{"k":"a","n":{"N":"1"}}})");
}

TEST(TranslateReply, ItemsAreNotLookedInto)
{
    const std::string items = R"({"Items":[{"LastEvaluatedKey":{"HashKeyElement":"a"},"__rc":"b"}]})";
    EXPECT_EQ(
        translated(Operations::Query, QByteArray::fromStdString(items.substr(0, items.size() - 1)) + R"(,"__rc":200})"),
        "200  " + items);
}

TEST(TranslateReply, TheTypeOfAnErrorGetsThePrefixOfTheApi)
{
    EXPECT_EQ(
        translated(Operations::PutItem, R"({"__rc":400,"__rcstr":"Bad Request","__type":"XException","message":"M"})"),
        R"(400 Bad Request {"__type":"com.amazonaws.dynamodb.v20111205#XException","message":"M"})");
    EXPECT_EQ(translated(Operations::PutItem, R"({"__rc":400,"__type":"a#XException","message":"M"})"),
              R"(400  {"__type":"a#XException","message":"M"})");
}

TEST(TranslateReply, AnErrorThatSaysNothingIsAnInternalOne)
{
    EXPECT_EQ(translated(Operations::DeleteItem, R"({"Attributes":{},"__rc":500,"__rcstr":"Broken"})"),
              R"(500 Broken {"Attributes":{},"__type":"com.amazonaws.dynamodb.v20111205#InternalServerError",)"
              R"("message":"Broken"})");
}

TEST(TranslateReply, RepliesWithoutAnEnvelopeAreRefused)
{
    for (const char* reply : {"", "[]", "{}", "{\"__rc\":\"200\"}", "{\"__rc\":20}", "{\"__rc\":600}",
                              "{\"__rc\":200.0}", "{\"__rc\":200", "{\"a\":{\"__rc\":200}}"}) {
        Http::Answer answer{1, "before", "before"};
        EXPECT_FALSE(Http::translateReply(Operations::Scan, reply, &answer)) << reply;
        EXPECT_EQ(answer.status, 1);
        EXPECT_EQ(answer.outcome, "before");
        EXPECT_EQ(answer.body, "before");
    }
}
