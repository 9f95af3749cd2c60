#include "protocol/envelope.h"

#include <gtest/gtest.h>

namespace {

QVariantMap withEnvelope(const Envelope& envelope, QVariantMap reply)
{
    envelope.addTo(&reply);
    return reply;
}

} // namespace

TEST(Envelope, CodeIsAnIntegerAndTheTextsAreStrings)
{
    const QVariantMap reply = withEnvelope(Envelopes::ConditionFailed, {});
    EXPECT_EQ(reply["__rc"].typeId(), QMetaType::Int);
    for (const char* name : {"__rcstr", "__type", "message"})
        EXPECT_EQ(reply[name].typeId(), QMetaType::QString) << name;
}

TEST(Envelope, WritesOverItsOwnFieldsAndKeepsTheRest)
{
    const QVariantMap before{{"__rc", "mine"}, {"__rcstr", 1}, {"__type", 2}, {"message", 3}, {"Item", "kept"}};
    EXPECT_EQ(withEnvelope(Envelopes::InvalidRequest, before), (QVariantMap{{"Item", "kept"},
                                                                            {"__rc", 400},
                                                                            {"__rcstr", "Bad Request"},
                                                                            {"__type", "ValidationException"},
                                                                            {"message", "A parameter is missing"}}));
    EXPECT_EQ(withEnvelope(Envelopes::Success, before),
              (QVariantMap{{"Item", "kept"}, {"__rc", 200}, {"__rcstr", "OK"}, {"__type", 2}, {"message", 3}}));
}

TEST(Envelope, ReadsBackAsItWasWritten)
{
    const QVariantMap missing = withEnvelope(Envelopes::NotFound, {});
    EXPECT_EQ(Envelopes::code(missing), 400);
    EXPECT_FALSE(Envelopes::isSuccess(missing));
    EXPECT_EQ(Envelopes::outcome(missing), "Not Found");
    EXPECT_EQ(Envelopes::errorType(missing), "ResourceNotFoundException");
    EXPECT_EQ(Envelopes::message(missing), "Specified item does not exist.");

    const QVariantMap done = withEnvelope(Envelopes::Success, {});
    EXPECT_EQ(Envelopes::code(done), 200);
    EXPECT_TRUE(Envelopes::isSuccess(done));
    EXPECT_EQ(Envelopes::outcome(done), "OK");
    EXPECT_EQ(Envelopes::errorType(done), "");
    EXPECT_EQ(Envelopes::message(done), "");
    EXPECT_FALSE(Envelopes::isSuccess({}));
}
