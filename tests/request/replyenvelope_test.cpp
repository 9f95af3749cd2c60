#include "request/replyenvelope.h"

#include "json/jsonreader.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

QVariantMap envelope(int status)
{
    QByteArray text = "{}";
    ReplyEnvelope::of(status).appendTo(&text);
    QVariant reply;
    EXPECT_TRUE(Json::parse(text, &reply)) << text.toStdString();
    return reply.toMap();
}

} // namespace

TEST(ReplyEnvelope, SuccessHasNoTypeAndNoMessage)
{
    EXPECT_EQ(envelope(0), (QVariantMap{{"__rc", 200}, {"__rcstr", "OK"}}));
}

TEST(ReplyEnvelope, FailedConditionIs400)
{
    EXPECT_EQ(envelope(1), (QVariantMap{{"__rc", 400},
                                        {"__rcstr", "Bad Request"},
                                        {"__type", "ConditionalCheckFailedException"},
                                        {"message", "The conditional request failed."}}));
}

TEST(ReplyEnvelope, NotFoundIs400)
{
    EXPECT_EQ(envelope(3), (QVariantMap{{"__rc", 400},
                                        {"__rcstr", "Not Found"},
                                        {"__type", "ResourceNotFoundException"},
                                        {"message", "Specified item does not exist."}}));
}

TEST(ReplyEnvelope, InvalidRequestIs400)
{
    EXPECT_EQ(envelope(4), (QVariantMap{{"__rc", 400},
                                        {"__rcstr", "Bad Request"},
                                        {"__type", "ValidationException"},
                                        {"message", "A parameter is missing"}}));
}

TEST(ReplyEnvelope, EverythingElseIsAnInternalError)
{
    for (const int status : {2, 5, 12, 22, -1, -30993, std::numeric_limits<int>::max()}) {
        SCOPED_TRACE(status);
        EXPECT_EQ(envelope(status), (QVariantMap{{"__rc", 400},
                                                 {"__rcstr", "Bad Request"},
                                                 {"__type", "InternalServerError"},
                                                 {"message", "The server encountered an internal error."}}));
        EXPECT_FALSE(ReplyEnvelope::isOrdinary(status));
    }
    for (const int status : {0, 1, 3, 4})
        EXPECT_TRUE(ReplyEnvelope::isOrdinary(status)) << status;
}
