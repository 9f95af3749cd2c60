#include "json/byteappender.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

TEST(ByteAppender, KeepsWhatIsThereAndCopiesItSeldom)
{
    QByteArray expected = "head";
    Json::ByteAppender out(expected, 1);
    const char* place = out.room(1) - expected.size();
    int moves = 0;
    for (int i = 0; i < 100'000; ++i) {
        const QByteArray piece(i % 5, static_cast<char>('a' + i % 26));
        out.put(piece);
        out.put(',');
        expected += piece + ',';
        const char* const begin = out.room(0) - expected.size();
        moves += begin != place ? 1 : 0;
        place = begin;
    }
    EXPECT_TRUE(out.take() == expected);
    EXPECT_LE(moves, 10); // from 512 to 300,000 bytes the size doubles 10 times
}

TEST(ByteAppender, GivesAsMuchMemoryAsIsAskedFor)
{
    for (const qsizetype length : {0, 1, 511, 512, 513, 100'000}) {
        Json::ByteAppender out("head", 0);
        std::fill_n(out.room(length), length, '-'); // is overwritten: it does not count
        std::fill_n(out.advance(length), length, 'x');
        EXPECT_EQ(out.take(), "head" + QByteArray(length, 'x')) << length;
    }
}

TEST(ByteAppender, AppendsToWhatItOwnsInPlaceAndLeavesCopiesAlone)
{
    QByteArray text = "abc";
    text.reserve(1000);
    const char* const place = text.constData();
    Json::ByteAppender owner(std::move(text));
    owner.put('d');
    text = owner.take();
    EXPECT_EQ(text, "abcd");
    EXPECT_EQ(text.constData(), place);

    Json::ByteAppender copying(text);
    copying.put('e');
    EXPECT_EQ(copying.take(), "abcde");
    EXPECT_EQ(text, "abcd");

    Json::ByteAppender window(QByteArray::fromRawData("window", 3), 0);
    window.put('!');
    EXPECT_EQ(window.take(), "win!");
}

} // namespace
