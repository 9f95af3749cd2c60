#include "net/bdbreqhandler_linux.h"

#include "netsupport.h"
#include "protocol/framing.h"
#include "requests.h"

#include <gtest/gtest.h>

#include <malloc.h>

#include <memory>
#include <string_view>
#include <vector>

namespace {

std::string_view bytes(const TransferBuffer& buffer)
{
    return {buffer.data, buffer.length};
}

} // namespace

TEST(BDBReqHandler_linux, StartsReading)
{
    BDBReqHandler_linux handler(1024, 256, nullptr, 5);
    EXPECT_EQ(handler.transferState(), BDBReqHandler_linux::Reading);
    EXPECT_EQ(handler.unsent().length, 0u);
    EXPECT_EQ(BDBReqHandler_linux::ReceiveBufferSize, 4096u);
}

TEST(BDBReqHandler_linux, SendBufferIsTheWholeReply)
{
    BDBReqHandler_linux handler(1024, 256, nullptr, 5);
    const QByteArray reply("\0\0\0\5reply", 9);
    handler.setReply(reply);
    EXPECT_EQ(bytes(handler.sendBuffer()), reply.toStdString());
    EXPECT_EQ(handler.sendBuffer().data, reply.constData()); // not copied
}

TEST(BDBReqHandler_linux, MarkSentLeavesTheRestWhereItIs)
{
    BDBReqHandler_linux handler(1024, 256, nullptr, 5);
    const QByteArray reply("\0\0\0\5reply", 9);
    handler.setReply(reply);
    (void)handler.sendBuffer();
    handler.markSent(1); // the rest begins with a zero byte, which ends nothing
    EXPECT_EQ(bytes(handler.unsent()), reply.mid(1).toStdString());
    handler.markSent(6);
    EXPECT_EQ(bytes(handler.unsent()), "ly");
    EXPECT_EQ(handler.unsent().data, reply.constData() + 7);
    handler.markSent(2);
    EXPECT_EQ(handler.unsent().length, 0u);
}

TEST(BDBReqHandler_linux, ResetReadsAgain)
{
    BDBReqHandler_linux handler(1024, 256, nullptr, 5);
    handler.setReply("reply");
    (void)handler.sendBuffer();
    handler.setTransferState(BDBReqHandler_linux::Writing);
    handler.reset();
    EXPECT_EQ(handler.transferState(), BDBReqHandler_linux::Reading);
    EXPECT_EQ(handler.unsent().length, 0u);
    EXPECT_EQ(handler.sendBuffer().length, 0u);
}

TEST(BDBReqHandler_linux, AnIdleConnectionIsSmallWhateverItCarriedBefore)
{
    if (MemoryIsSanitized)
        GTEST_SKIP() << "the sanitizer's allocator does not report what is in use";
    constexpr std::size_t Count = 100;
    const auto inUse = [] {
        const struct mallinfo2 info = mallinfo2();
        return info.uordblks + info.hblkhd;
    };
    const QByteArray request = Framing::frameRequest(UnknownOperation, bodyOfSize(100000));
    std::vector<std::unique_ptr<BDBReqHandler_linux>> handlers;
    handlers.reserve(Count);
    const std::size_t before = inUse();
    for (std::size_t i = 0; i < Count; ++i) {
        handlers.push_back(std::make_unique<BDBReqHandler_linux>(1024, 256, nullptr, 5));
        ASSERT_EQ(append(*handlers.back(), request), 0);
        ASSERT_EQ(handlers.back()->handle(), 0);
        handlers.back()->setReply(QByteArray(500000, 'r'));
        handlers.back()->reset();
    }
    EXPECT_LT(inUse() - before, Count * 8 * 1024);
}
