#ifndef QUORVA_TESTS_STORAGE_REGISTRYFIXTURE_H
#define QUORVA_TESTS_STORAGE_REGISTRYFIXTURE_H

#include "directoryuse.h"
#include "storage/accesslock.h"
#include "storage/bdbenv.h"
#include "storage/bdbquota.h"
#include "storage/bdbregistry.h"
#include "storage/registrykeys.h"
#include "support/tempdir.h"

#include <gtest/gtest.h>

/** A registry of environments, and directories for them. The environments that are left in it at the end are closed. */
class RegistryFixture : public testing::Test {
protected:
    ~RegistryFixture() override
    {
        const auto names = registry_.names().keys();
        for (const QString& name : names)
            Registry::removeEnv(&registry_, RegistryKeys::directoryOf(name) + '|');
    }

    /** Makes a directory and returns its path. */
    QByteArray makeHome(const std::string& name = "home") const
    {
        return QByteArray::fromStdString(temp_.makeDirectory(name));
    }

    int open(const QByteArray& home, EnvironmentUse* use, int create = 1)
    {
        return Registry::openEnv(&registry_, RegistryKeys::environment(home), use, TableCapacity, create, home);
    }

    /** The environment in `home`, held by nobody afterwards. */
    BDBEnv* openedEnv(const QByteArray& home)
    {
        EnvironmentUse use;
        EXPECT_EQ(open(home, &use), 0) << home.toStdString();
        return use.env();
    }

    /** Closes and unregisters an environment as DeleteTable does. */
    void lockAndRemove(const QByteArray& tableName)
    {
        const auto lock = Registry::lockEnv(&registry_, tableName, true);
        ASSERT_NE(lock, nullptr);
        Registry::removeEnv(&registry_, tableName);
        Registry::dropEnvLock(&registry_, lock);
    }

    /** How many names are registered; may be called while other threads use the registry. */
    qsizetype registeredNames()
    {
        const QMutexLocker locker(&registry_.mutex());
        return registry_.names().size();
    }

    static bool isDirectoryFree(const QByteArray& path) { return ::isDirectoryFree(path.toStdString()); }

    static constexpr int TableCapacity = 16;

    TempDir temp_;
    BDBQuota quota_; // fills slots; must outlive the tables that hold it
    BDBObjTable registry_{8};
};

/** Opening environments through the registry. */
class OpenEnvTest : public RegistryFixture {};

#endif
