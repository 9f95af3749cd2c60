#include "http/contentcoding.h"

#include "support/gzipped.h"

#include <gtest/gtest.h>

#include <string>

using Http::ContentCoding::Result;
using Http::ContentCoding::unpack;

namespace {

/** {"a":"b...b"} with 32 times b, compressed with br. */
const QByteArray Brotli = QByteArray::fromHex("1b2700f88dd462cd19eed42261627b4ba7af24a92710381746");
/** A million blanks, compressed with br. */
const QByteArray BrotliBomb = QByteArray::fromHex("5b3f428f5f02241e0b04f2731e00");

QByteArray packed(const QByteArray& text, int format)
{
    return QByteArray::fromStdString(deflated(text.toStdString(), format));
}

} // namespace

TEST(ContentCoding, UnpacksEachThatItKnows)
{
    const QByteArray text = "{\"a\":\"" + QByteArray(32, 'b') + "\"}";
    const struct {
        const char* coding;
        QByteArray bytes;
    } cases[] = {{"gzip", packed(text, GzipFormat)},
                 {"GZip", packed(text, GzipFormat)},
                 {"x-gzip", packed(text, GzipFormat)},
                 {"deflate", packed(text, ZlibFormat)},
                 {"br", Brotli},
                 {"BR", Brotli},
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
    } cases[] = {{"gzip", packed(blanks, GzipFormat)}, {"deflate", packed(blanks, ZlibFormat)}, {"br", BrotliBomb}};
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
    for (const auto& [coding, bytes] : {std::pair<const char*, QByteArray>{"gzip", packed(text, GzipFormat)},
                                        {"deflate", packed(text, ZlibFormat)},
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
    } cases[] = {{"gzip", packed(text, GzipFormat)}, {"deflate", packed(text, ZlibFormat)}, {"br", Brotli}};
    for (const auto& [coding, bytes] : cases) {
        for (const QByteArray& more : {QByteArray("x"), QByteArray(1, '\0'), bytes}) {
            QByteArray body;
            EXPECT_EQ(unpack(coding, bytes + more, 1000, &body), Result::Broken) << coding << ' ' << more.size();
        }
    }
}
