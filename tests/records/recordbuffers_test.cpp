#include "records/recordbuffers.h"

#include "items.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

namespace {

QByteArray bytesOf(const Dbt* dbt, qsizetype size)
{
    return QByteArray(static_cast<const char*>(dbt->get_data()), size);
}

TEST(RecordBuffers, TheKeyBufferHasRoomForFourMoreBytesAndAtLeast4096)
{
    for (const qsizetype size : {0, 1, 15, 4091, 4092, 4093, 4096, 10000, 1000000}) {
        const QByteArray key(size, 'k');
        RecordBuffers buffers(key);
        ASSERT_TRUE(buffers.valid());
        const auto expected = static_cast<u_int32_t>(std::max<qsizetype>(4096, size + 4));
        EXPECT_EQ(buffers.key()->get_ulen(), expected) << size;
        EXPECT_EQ(buffers.keyCapacity(), expected) << size;
        EXPECT_EQ(buffers.key()->get_size(), static_cast<u_int32_t>(size));
        EXPECT_EQ(buffers.key()->get_flags(), static_cast<u_int32_t>(DB_DBT_USERMEM));
        EXPECT_EQ(bytesOf(buffers.key(), size + 4), key + QByteArray(4, '\0')) << size;
    }
}

TEST(RecordBuffers, HoldACopyOfTheKey)
{
    QByteArray key("0001ab");
    RecordBuffers buffers(key);
    key.fill('x');
    EXPECT_EQ(bytesOf(buffers.key(), 6), "0001ab");
}

TEST(RecordBuffers, TheDataBufferHasTheSizeThatWasAskedFor)
{
    RecordBuffers buffers("k");
    ASSERT_TRUE(buffers.allocateData(RecordBuffers::SmallBytes));
    EXPECT_EQ(buffers.data()->get_ulen(), 4096u);
    EXPECT_EQ(buffers.data()->get_flags(), static_cast<u_int32_t>(DB_DBT_USERMEM));
    EXPECT_NE(buffers.data()->get_data(), nullptr);
}

/** A read that behaves as Berkeley DB does for a record of `size` bytes, and clobbers the key buffer as it may. */
class Reads {
public:
    Reads(RecordBuffers* buffers, u_int32_t size) : buffers_(buffers), size_(size) {}

    int operator()()
    {
        capacities.push_back(buffers_->data()->get_ulen());
        keys.push_back(bytesOf(buffers_->key(), buffers_->key()->get_size()));
        std::memset(buffers_->key()->get_data(), '!', buffers_->key()->get_ulen());
        buffers_->key()->set_size(3);
        buffers_->data()->set_size(size_);
        if (size_ > buffers_->data()->get_ulen())
            return DB_BUFFER_SMALL;
        std::memset(buffers_->data()->get_data(), 'v', size_);
        return 0;
    }

    std::vector<u_int32_t> capacities;
    std::vector<QByteArray> keys;

private:
    RecordBuffers* buffers_;
    u_int32_t size_;
};

TEST(RecordBuffers, ARecordThatFitsIsReadOnce)
{
    for (const u_int32_t size : {0u, 1u, 4095u, 4096u}) {
        RecordBuffers buffers("key");
        ASSERT_TRUE(buffers.allocateData(RecordBuffers::SmallBytes));
        Reads reads(&buffers, size);
        EXPECT_EQ(buffers.readGrowing([&] { return reads(); }), 0);
        EXPECT_EQ(reads.capacities, (std::vector<u_int32_t>{4096}));
        EXPECT_EQ(buffers.dataBytes(), QByteArray(size, 'v'));
        EXPECT_TRUE(buffers.valid());
    }
}

TEST(RecordBuffers, ALargerRecordIsReadOnceMoreWithTheKeyAsItWas)
{
    for (const u_int32_t size : {4097u, 5000u, 0x80000u}) {
        RecordBuffers buffers("key");
        ASSERT_TRUE(buffers.allocateData(RecordBuffers::SmallBytes));
        Reads reads(&buffers, size);
        EXPECT_EQ(buffers.readGrowing([&] { return reads(); }), 0);
        EXPECT_EQ(reads.capacities, (std::vector<u_int32_t>{4096, 0x80000}));
        EXPECT_EQ(reads.keys, (std::vector<QByteArray>{"key", "key"}));
        EXPECT_EQ(buffers.dataBytes(), QByteArray(size, 'v'));
        EXPECT_TRUE(buffers.valid());
    }
}

TEST(RecordBuffers, GrowOnlyOnce)
{
    RecordBuffers buffers("key");
    ASSERT_TRUE(buffers.allocateData(RecordBuffers::SmallBytes));
    Reads reads(&buffers, 0x80001);
    EXPECT_EQ(buffers.readGrowing([&] { return reads(); }), DB_BUFFER_SMALL);
    EXPECT_EQ(reads.capacities, (std::vector<u_int32_t>{4096, 0x80000}));
    EXPECT_TRUE(buffers.valid()); // no allocation failed: the record is too long

    // A buffer of the largest size cannot grow any further.
    reads.capacities.clear();
    EXPECT_EQ(buffers.readGrowing([&] { return reads(); }), DB_BUFFER_SMALL);
    EXPECT_EQ(reads.capacities, (std::vector<u_int32_t>{0x80000}));
}

TEST(RecordBuffers, OtherResultsAreHandedOnAfterOneRead)
{
    for (const int rc : {DB_NOTFOUND, DB_LOCK_DEADLOCK, EINVAL}) {
        RecordBuffers buffers("key");
        ASSERT_TRUE(buffers.allocateData(RecordBuffers::SmallBytes));
        int reads = 0;
        EXPECT_EQ(buffers.readGrowing([&] {
            ++reads;
            return rc;
        }),
                  rc);
        EXPECT_EQ(reads, 1);
    }
}

TEST(RecordBuffers, TheDataIsSeenInPlace)
{
    RecordBuffers buffers("key");
    ASSERT_TRUE(buffers.allocateData(RecordBuffers::SmallBytes));
    Reads reads(&buffers, 10);
    ASSERT_EQ(buffers.readGrowing([&] { return reads(); }), 0);
    EXPECT_EQ(static_cast<const void*>(buffers.dataBytes().constData()), buffers.data()->get_data());
}

} // namespace
