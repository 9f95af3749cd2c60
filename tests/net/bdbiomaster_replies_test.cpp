#include "net/bdbiomaster.h"

#include "support/blockedcall.h"
#include "support/threadcount.h"

#include <gtest/gtest.h>

#include <memory>

TEST(BDBIOMaster, IsNotDestroyedWhileAReplyWaits)
{
    BDBObjTable environments(16);
    auto master = std::make_unique<BDBIOMaster>(1024, 256, &environments);
    BDBIOMaster* const waiting = master.get();
    master->init(1, 1);
    for (int i = 0; i < 2; ++i)
        master->beginWaitingReply();
    BlockedCall<void> destruction([&] { master.reset(); });
    EXPECT_TRUE(destruction.blocksIn(*waiting));
    waiting->endWaitingReply();
    EXPECT_TRUE(destruction.blocksIn(*waiting)) << "one is left";
    waiting->endWaitingReply();
    destruction.get();
    EXPECT_TRUE(onlyThisThreadIsLeft());
}
