#include "format/md5.h"

#include <QCryptographicHash>

#include <gtest/gtest.h>

#include <random>
#include <utility>

namespace {

std::array<unsigned char, 16> digestOf(const QByteArray& data)
{
    return md5({data.constData(), static_cast<std::size_t>(data.size())});
}

QByteArray hex(const std::array<unsigned char, 16>& digest)
{
    return QByteArray(reinterpret_cast<const char*>(digest.data()), static_cast<qsizetype>(digest.size())).toHex();
}

QByteArray reference(const QByteArray& data)
{
    return QCryptographicHash::hash(data, QCryptographicHash::Md5).toHex();
}

/** Pseudo-random bytes, the same in every run. */
QByteArray noise(qsizetype size)
{
    std::minstd_rand random(static_cast<unsigned>(size) + 1);
    QByteArray data(size, Qt::Uninitialized);
    for (char& byte : data)
        byte = static_cast<char>(random() >> 8);
    return data;
}

TEST(Md5, GivesTheDigestsOfTheRfc)
{
    const std::pair<const char*, const char*> cases[] = {
        {"", "d41d8cd98f00b204e9800998ecf8427e"},
        {"a", "0cc175b9c0f1b6a831c399e269772661"},
        {"abc", "900150983cd24fb0d6963f7d28e17f72"},
        {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
        {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
        {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789", "d174ab98d277d9f5a5611c2c9f419d9f"},
        {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
         "57edf4a22be3c955ac49da2e2107b67a"},
    };
    for (const auto& [text, digest] : cases)
        EXPECT_EQ(hex(digestOf(text)), digest) << text;
}

TEST(Md5, AgreesWithTheReferenceAtEveryLengthAroundTheBlocks)
{
    // 55 is the largest length whose padding fits into the same block; 64 is the block size.
    for (qsizetype size = 0; size <= 4 * 64 + 1; ++size) {
        const QByteArray data = noise(size);
        EXPECT_EQ(hex(digestOf(data)), reference(data)) << size << " bytes";
    }
}

TEST(Md5, AgreesWithTheReferenceOnUniformBytes)
{
    for (const char byte : {'\0', '\x7f', '\x80', '\xff'}) {
        for (const qsizetype size : {1, 54, 55, 56, 57, 63, 64, 65, 119, 120, 127, 128, 129}) {
            const QByteArray data(size, byte);
            EXPECT_EQ(hex(digestOf(data)), reference(data)) << size << " bytes of " << int(byte);
        }
    }
}

TEST(Md5, AgreesWithTheReferenceOnMegabytes)
{
    const QByteArray data = noise((qsizetype(3) << 20) + 17);
    EXPECT_EQ(hex(digestOf(data)), reference(data));
}

TEST(Md5, BytesAfterAZeroByteCount)
{
    const QByteArray one("key\0one", 7);
    const QByteArray two("key\0two", 7);
    EXPECT_EQ(hex(digestOf(one)), reference(one));
    EXPECT_EQ(hex(digestOf(two)), reference(two));
    EXPECT_NE(digestOf(one), digestOf(two));
}

TEST(Md5, NullAndEmptyArraysAreTheSame)
{
    EXPECT_EQ(digestOf(QByteArray()), digestOf(QByteArray("")));
}

TEST(Md5, ReadsOnlyTheBytesOfTheArray)
{
    // A view into a larger text, without a terminator after it.
    const QByteArray text = noise(200);
    for (qsizetype size = 0; size <= 130; ++size) {
        const QByteArray window = QByteArray::fromRawData(text.constData() + 3, size);
        EXPECT_EQ(hex(digestOf(window)), reference(text.mid(3, size))) << size << " bytes";
    }
}

} // namespace
