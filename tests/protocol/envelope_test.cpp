#include "protocol/envelope.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

namespace {

QByteArray withEnvelope(const Envelope& envelope, QByteArray reply)
{
    envelope.appendTo(&reply);
    return reply;
}

} // namespace

TEST(Envelope, FollowsTheMembersOfTheReply)
{
    EXPECT_EQ(withEnvelope(Envelopes::Success, "{}"), R"({"__rc":200,"__rcstr":"OK"})");
    EXPECT_EQ(withEnvelope(Envelopes::Success, R"({"Item":{}})"), R"({"Item":{},"__rc":200,"__rcstr":"OK"})");
    EXPECT_EQ(withEnvelope(Envelopes::InvalidRequest, R"({"Count":0,"Items":[]})"),
              R"({"Count":0,"Items":[],"__rc":400,"__rcstr":"Bad Request","__type":"ValidationException",)"
              R"("message":"A parameter is missing"})");
}

TEST(Envelope, ReadsBackAsItWasWritten)
{
    const auto read = [](const Envelope& envelope) {
        return QJsonDocument::fromJson(withEnvelope(envelope, "{}")).object().toVariantMap();
    };
    const QVariantMap missing = read(Envelopes::NotFound);
    EXPECT_EQ(Envelopes::code(missing), 400);
    EXPECT_FALSE(Envelopes::isSuccess(missing));
    EXPECT_EQ(Envelopes::outcome(missing), "Not Found");
    EXPECT_EQ(Envelopes::errorType(missing), "ResourceNotFoundException");
    EXPECT_EQ(Envelopes::message(missing), "Specified item does not exist.");

    const QVariantMap done = read(Envelopes::Success);
    EXPECT_EQ(Envelopes::code(done), 200);
    EXPECT_TRUE(Envelopes::isSuccess(done));
    EXPECT_EQ(Envelopes::outcome(done), "OK");
    EXPECT_EQ(Envelopes::errorType(done), "");
    EXPECT_EQ(Envelopes::message(done), "");
    EXPECT_FALSE(Envelopes::isSuccess({}));
}

TEST(Envelope, SuccessIsSeenFromTheEndOfTheText)
{
    EXPECT_TRUE(Envelopes::reportsSuccess(withEnvelope(Envelopes::Success, "{}")));
    EXPECT_TRUE(Envelopes::reportsSuccess(withEnvelope(Envelopes::Success, R"({"Item":{}})")));
    for (const Envelope& error : {Envelopes::ConditionFailed, Envelopes::NotFound, Envelopes::InternalError})
        EXPECT_FALSE(Envelopes::reportsSuccess(withEnvelope(error, R"({"Item":{}})"))) << error.type;
    EXPECT_FALSE(Envelopes::reportsSuccess("{}"));
    EXPECT_FALSE(Envelopes::reportsSuccess(""));
}
