#include "http/contentcoding.h"

#include <gtest/gtest.h>

#include <zlib.h>

#include <string>

using Http::ContentCoding::Result;
using Http::ContentCoding::unpack;

namespace {

/** {"a":"b...b"} with 32 times b, compressed with br. */
const QByteArray Brotli = QByteArray::fromHex("1b2700f88dd462cd19eed42261627b4ba7af24a92710381746");
/** A million blanks, compressed with br. */
const QByteArray BrotliBomb = QByteArray::fromHex("5b3f428f5f02241e0b04f2731e00");

constexpr int Gzip = 16 + MAX_WBITS;
constexpr int Deflate = MAX_WBITS;

QByteArray packed(const QByteArray& text, int format)
{
    z_stream stream{};
    QByteArray bytes(text.size() + 1000, '\0');
    QByteArray copy = text;
    EXPECT_EQ(deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, format, 8, Z_DEFAULT_STRATEGY), Z_OK);
    stream.next_in = reinterpret_cast<Bytef*>(copy.data());
    stream.avail_in = static_cast<uInt>(copy.size());
    stream.next_out = reinterpret_cast<Bytef*>(bytes.data());
    stream.avail_out = static_cast<uInt>(bytes.size());
    EXPECT_EQ(deflate(&stream, Z_FINISH), Z_STREAM_END);
    bytes.resize(static_cast<qsizetype>(stream.total_out));
    deflateEnd(&stream);
    return bytes;
}

} // namespace

TEST(ContentCoding, UnpacksEachThatItKnows)
{
    const QByteArray text = "{\"a\":\"" + QByteArray(32, 'b') + "\"}";
    const struct {
        const char* coding;
        QByteArray bytes;
    } cases[] = {{"gzip", packed(text, Gzip)},
                 {"deflate", packed(text, Deflate)},
                 {"br", Brotli},
                 {"identity", text},
                 {"", text}};
    for (const auto& [coding, bytes] : cases) {
        QByteArray body;
        EXPECT_EQ(unpack(coding, bytes, 1000, &body), Result::Unpacked) << coding;
        EXPECT_EQ(body, text) << coding;
    }
}

TEST(ContentCoding, UnpacksNoMoreThanTheLimit)
{
    const QByteArray blanks(1000000, ' ');
    const struct {
        const char* coding;
        QByteArray bytes;
    } cases[] = {{"gzip", packed(blanks, Gzip)}, {"deflate", packed(blanks, Deflate)}, {"br", BrotliBomb}};
    for (const auto& [coding, bytes] : cases) {
        QByteArray fits;
        EXPECT_EQ(unpack(coding, bytes, 1000000, &fits), Result::Unpacked) << coding;
        EXPECT_TRUE(fits == blanks) << coding;
        QByteArray body;
        EXPECT_EQ(unpack(coding, bytes, 999999, &body), Result::TooLarge) << coding;
        EXPECT_LE(body.size(), 999999) << coding;
    }
}

TEST(ContentCoding, WhatIsCutOffOrSomethingElseIsBroken)
{
    const QByteArray text(100, 'x');
    for (const auto& [coding, bytes] : {std::pair<const char*, QByteArray>{"gzip", packed(text, Gzip)},
                                        {"deflate", packed(text, Deflate)},
                                        {"br", Brotli}})
        for (const QByteArray& broken : {bytes.chopped(1), bytes.first(3), QByteArray(), QByteArray("no such thing")}) {
            QByteArray body;
            EXPECT_EQ(unpack(coding, broken, 1000, &body), Result::Broken)
                << coding << ' ' << broken.toHex().constData();
        }
}

TEST(ContentCoding, NothingMayFollow)
{
    const QByteArray text = "{}";
    const struct {
        const char* coding;
        QByteArray bytes;
    } cases[] = {{"gzip", packed(text, Gzip)}, {"deflate", packed(text, Deflate)}, {"br", Brotli}};
    for (const auto& [coding, bytes] : cases) {
        for (const QByteArray& more : {QByteArray("x"), QByteArray(1, '\0'), bytes}) {
            QByteArray body;
            EXPECT_EQ(unpack(coding, bytes + more, 1000, &body), Result::Broken) << coding << ' ' << more.size();
        }
    }
}
