#ifndef QUORVA_TESTS_STORAGE_REMOVEENVFIXTURE_H
#define QUORVA_TESTS_STORAGE_REMOVEENVFIXTURE_H

#include "registryfixture.h"
#include "storage/openindex.h"
#include "support/blockedcall.h"
#include "support/waituntil.h"

#include <gtest/gtest.h>

/** An environment that is opened, used and removed. */
class RemoveEnvTest : public RegistryFixture {
protected:
    /** A thread that removes the environment, which is no longer registered when this returns. */
    BlockedCall<void> removingElsewhere()
    {
        BlockedCall removing([this] { lockAndRemove(home_); });
        EXPECT_TRUE(waitUntil([this] { return registeredNames() == 0; }));
        return removing;
    }

    static BDBIndex* orders(BDBEnv* env)
    {
        BDBObjTable connection(4);
        connection.setEnv(env);
        BDBIndex* index = nullptr;
        EXPECT_EQ(Registry::openIndex(&connection, "db::orders:data", "orders", "data", &index), 0);
        return index;
    }

    const QByteArray home_ = makeHome();
};

#endif
