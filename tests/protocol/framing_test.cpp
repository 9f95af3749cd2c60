#include "protocol/framing.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

using namespace std::string_view_literals;

namespace {

std::string bytesOf(std::uint32_t length)
{
    std::string bytes(Framing::LengthSize, '\0');
    Framing::writeLength(length, bytes.data());
    return bytes;
}

std::string header(std::uint32_t nameLength, const std::string& name, std::uint32_t bodyLength)
{
    return bytesOf(nameLength) + name + bytesOf(bodyLength);
}

} // namespace

TEST(Framing, LengthsAreUnsignedBigEndian)
{
    struct {
        std::uint32_t length;
        std::string_view bytes;
    } const cases[] = {
        {0, "\0\0\0\0"sv},
        {1, "\0\0\0\1"sv},
        {0x01020304, "\1\2\3\4"sv},
        {0x80000000, "\x80\0\0\0"sv},
        {0xffffffff, "\xff\xff\xff\xff"sv},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.length);
        EXPECT_EQ(bytesOf(c.length), c.bytes);
        EXPECT_EQ(Framing::readLength(c.bytes.data()), c.length);
    }
}

TEST(Framing, ParsesWholeHeaders)
{
    struct {
        std::string name;
        std::uint32_t bodyLength;
        std::string behind;
    } const cases[] = {
        {"DynamoDB_20111205.PutItem", 17, ""},
        {"DynamoDB_20111205.PutItem", 17, "{\"TableName\""},
        {"DynamoDB_20111205.Scan", 0, ""},
        {"", 2, "{}"},
        {"", 0, ""},
        {std::string(64, 'n'), 5, "12345"},
        {std::string("a\0b", 3), 0xffffffff, "x"},
        {"\xff\x80", 0x80000000, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.name));
        const std::string bytes = header(static_cast<std::uint32_t>(c.name.size()), c.name, c.bodyLength) + c.behind;
        Framing::RequestHeader parsed;
        ASSERT_EQ(Framing::parseHeader(bytes, &parsed), 0);
        EXPECT_EQ(parsed.operation, c.name);
        EXPECT_EQ(parsed.bodyLength, c.bodyLength);
        EXPECT_EQ(bytes.substr(parsed.consumed), c.behind);
    }
}

TEST(Framing, RefusesMalformedHeadersAndLeavesTheResultAlone)
{
    const std::string name65(65, 'n');
    struct {
        const char* what;
        std::string bytes;
    } const cases[] = {
        {"nothing", ""},
        {"three bytes", std::string(3, '\0')},
        {"name length only", bytesOf(4)},
        {"name incomplete", bytesOf(4) + "nam"},
        {"no body length", bytesOf(4) + "name"},
        {"body length incomplete", bytesOf(4) + "name" + std::string(3, '\0')},
        {"empty name, body length incomplete", bytesOf(0) + std::string(3, '\0')},
        {"64 bytes of name, body length incomplete", bytesOf(64) + std::string(64, 'n') + std::string(3, '\0')},
        {"name of 65 bytes, all there", header(65, name65, 0)},
        {"name length with the sign bit", header(0x80000000, "", 0)},
        {"name length near overflow", header(0xfffffff8, std::string(64, 'n'), 0)},
        {"name length of all ones", header(0xffffffff, std::string(4096, 'n'), 0)},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        Framing::RequestHeader untouched{"before", 7, 9};
        EXPECT_EQ(Framing::parseHeader(c.bytes, &untouched), -1);
        EXPECT_EQ(untouched.operation, "before");
        EXPECT_EQ(untouched.bodyLength, 7u);
        EXPECT_EQ(untouched.consumed, 9u);
    }
}

TEST(Framing, EveryPrefixOfAHeaderIsRefused)
{
    const std::string whole = header(25, "DynamoDB_20111205.PutItem", 2);
    for (std::size_t length = 0; length < whole.size(); ++length) {
        Framing::RequestHeader parsed;
        EXPECT_EQ(Framing::parseHeader(std::string_view(whole).substr(0, length), &parsed), -1) << length;
    }
}

TEST(Framing, RequestIsBothLengthsBigEndianEachBeforeItsBytes)
{
    EXPECT_EQ(Framing::frameRequest("Op", "{\"a\":1}"), QByteArray("\0\0\0\2Op\0\0\0\7{\"a\":1}", 17));
    EXPECT_EQ(Framing::frameRequest("", ""), QByteArray(8, '\0'));
    EXPECT_EQ(Framing::frameRequest("N", QByteArray("a\0b", 3)), QByteArray("\0\0\0\1N\0\0\0\3a\0b", 12));
}

TEST(Framing, RequestsLengthsUseAllFourBytes)
{
    const QByteArray body(0x010203, 'x');
    EXPECT_EQ(Framing::frameRequest("N", body), QByteArray("\0\0\0\1N\0\1\2\3", 9) + body);
}

TEST(Framing, ReplyIsTheLengthOfItsBodyAndTheBody)
{
    QByteArray frame = Framing::beginReply();
    ASSERT_TRUE(Framing::finishReply(&frame));
    EXPECT_EQ(frame, QByteArray(4, '\0'));

    frame = Framing::beginReply();
    frame += "{\"__rc\":200}";
    ASSERT_TRUE(Framing::finishReply(&frame));
    EXPECT_EQ(frame, QByteArray("\0\0\0\14{\"__rc\":200}", 16));
}

TEST(Framing, AServerReadsTheHeaderThatAClientWrites)
{
    const QByteArray frame = Framing::frameRequest("DynamoDB_20111205.PutItem", "{\"a\":1}");
    Framing::RequestHeader header;
    ASSERT_EQ(Framing::parseHeader({frame.constData(), static_cast<std::size_t>(frame.size())}, &header), 0);
    EXPECT_EQ(header.operation, "DynamoDB_20111205.PutItem");
    EXPECT_EQ(header.bodyLength, 7U);
    EXPECT_EQ(frame.sliced(static_cast<qsizetype>(header.consumed)), "{\"a\":1}");
}
