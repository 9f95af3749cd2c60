#include "records/encoding.h"

#include "records/items.h"
#include "records/recordlines.h"
#include "records/requeststatus.h"
#include "records/tablecontext.h"

#include <gtest/gtest.h>

namespace {

class ExtractKeys : public testing::Test {
protected:
    ExtractKeys()
    {
        schema_.hash = json(R"({"AttributeName":"id","AttributeType":"S"})");
        schema_.range = json(R"({"AttributeName":"when","AttributeType":"S"})");
    }

    /** Calls the function and keeps everything that it may change. */
    int extract(const QByteArray& item)
    {
        item_ = json(item);
        shared_ = item_;
        const LogCapture log;
        const int rc = Records::extractKeys(schema_, &item_, &hash_, &range_);
        lines_ = recordLines(log);
        EXPECT_EQ(shared_, json(item)) << "a copy of the item changed with it";
        return rc;
    }

    KeySchema schema_;
    QVariantMap item_;
    QVariantMap shared_;
    QByteArray hash_ = "old hash";
    QByteArray range_ = "old range";
    Lines lines_;
};

TEST_F(ExtractKeys, TakesBothKeysOutOfTheItem)
{
    EXPECT_EQ(extract(R"({"id":{"S":"abc"},"when":{"S":"2012"},"n":{"N":"1"}})"), StatusSuccess);
    EXPECT_EQ(hash_, "abc");
    EXPECT_EQ(range_, "2012");
    EXPECT_EQ(item_, json(R"({"n":{"N":"1"}})"));
    EXPECT_EQ(lines_, Lines());
}

TEST_F(ExtractKeys, WithoutARangeKeyAttributeTheRangeKeyIsEmpty)
{
    EXPECT_EQ(extract(R"({"id":{"S":"abc"},"n":{"N":"1"}})"), StatusSuccess);
    EXPECT_EQ(hash_, "abc");
    EXPECT_EQ(range_, "");
    EXPECT_EQ(item_, json(R"({"n":{"N":"1"}})"));
    EXPECT_EQ(lines_, Lines());
}

TEST_F(ExtractKeys, AnItemOfNothingButKeysIsEmptyAfterwards)
{
    EXPECT_EQ(extract(R"({"id":{"S":""},"when":{"S":""}})"), StatusSuccess);
    EXPECT_EQ(hash_, "");
    EXPECT_EQ(range_, "");
    EXPECT_EQ(item_, QVariantMap());
}

TEST_F(ExtractKeys, FailsWithoutTheHashKeyAttribute)
{
    EXPECT_EQ(extract(R"({"when":{"S":"2012"},"ID":{"S":"abc"}})"), StatusInternalError);
    EXPECT_EQ(lines_, AttrMissing);
    EXPECT_EQ(item_, shared_);
}

TEST_F(ExtractKeys, FailsWhenTheHashKeyIsOfAnotherType)
{
    for (const QByteArray item : {R"({"id":{"N":"5"},"when":{"S":"2012"}})", R"({"id":{},"when":{"S":"2012"}})",
                                  R"({"id":"abc","when":{"S":"2012"}})", R"({"id":null})", R"({"id":{"s":"abc"}})"}) {
        EXPECT_EQ(extract(item), StatusInternalError) << item.toStdString();
        EXPECT_EQ(lines_, AttrMissing) << item.toStdString();
        EXPECT_EQ(item_, shared_) << item.toStdString();
    }
}

TEST_F(ExtractKeys, FailsWhenTheRangeKeyIsOfAnotherType)
{
    for (const QByteArray item : {R"({"id":{"S":"abc"},"when":{"N":"5"}})", R"({"id":{"S":"abc"},"when":{}})",
                                  R"({"id":{"S":"abc"},"when":"2012"})", R"({"id":{"S":"abc"},"when":null})"}) {
        EXPECT_EQ(extract(item), StatusInternalError) << item.toStdString();
        EXPECT_EQ(lines_, AttrMissing) << item.toStdString();
    }
}

TEST_F(ExtractKeys, RefusesAKeyThatLatin1CannotHold)
{
    const Lines refused{"[ERROR] bdbrequest # key holds a character outside Latin-1"};
    EXPECT_EQ(extract("{\"id\":{\"S\":\"\xe2\x82\xac\"},\"when\":{\"S\":\"r\"}}"), StatusInvalidRequest);
    EXPECT_EQ(lines_, refused);
    EXPECT_EQ(item_, shared_);
    EXPECT_EQ(extract("{\"id\":{\"S\":\"h\"},\"when\":{\"S\":\"\xe2\x82\xac\"}}"), StatusInvalidRequest);
    EXPECT_EQ(lines_, refused);
}

TEST_F(ExtractKeys, FollowTheTypeThatTheSchemaNames)
{
    schema_.hash["AttributeType"] = "N";
    EXPECT_EQ(extract(R"({"id":{"N":"17"},"when":{"S":"r"}})"), StatusSuccess);
    EXPECT_EQ(hash_, "17");
    EXPECT_EQ(range_, "r");
}

TEST_F(ExtractKeys, OneNameForBothKeysGivesAnEmptyRangeKey)
{
    schema_.range["AttributeName"] = "id";
    EXPECT_EQ(extract(R"({"id":{"S":"abc"}})"), StatusSuccess);
    EXPECT_EQ(hash_, "abc");
    EXPECT_EQ(range_, "");
    EXPECT_EQ(item_, QVariantMap());
}

TEST_F(ExtractKeys, WithoutALoadedSchemaFindNoKey)
{
    schema_.hash.clear();
    EXPECT_EQ(extract(R"({"id":{"S":"abc"}})"), StatusInternalError);
    EXPECT_EQ(lines_, AttrMissing);
}

} // namespace
