#ifndef QUORVA_TESTS_STORAGE_ENVIRONMENTHOME_H
#define QUORVA_TESTS_STORAGE_ENVIRONMENTHOME_H

#include "loglines.h"
#include "registryfixture.h"
#include "rows.h"
#include "storage/bdbindex.h"
#include "storage/openindex.h"
#include "support/directorycontents.h"
#include "support/logcapture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <map>
#include <string>

#include <unistd.h>

/** Environments and databases in them, and which of them can be opened. */
class EnvironmentHome : public RegistryFixture {
protected:
    /** The result of opening database `file` in the environment of `home`, which is opened first if need be. */
    int openFile(const QByteArray& home, const QByteArray& file, BDBIndex** index)
    {
        BDBObjTable connection(4);
        connection.setEnv(openedEnv(home));
        return Registry::openIndex(&connection, QString::fromUtf8("db::" + file + ":data"), file, "data", index);
    }

    /** Writes the row "key" of a database. */
    void put(const QByteArray& home, const QByteArray& file, const std::string& value)
    {
        BDBIndex* index = nullptr;
        ASSERT_EQ(openFile(home, file, &index), 0);
        EXPECT_EQ(putRow(index, nullptr, "key", value), 0);
    }
    /** The value of the row "key". */
    std::string row(const QByteArray& home, const QByteArray& file)
    {
        BDBIndex* index = nullptr;
        EXPECT_EQ(openFile(home, file, &index), 0);
        return index == nullptr ? "(not open)" : rowOf(index, nullptr, "key");
    }

    void close(const QByteArray& home) { lockAndRemove(home + '|'); }

    /** Closes the environment, after which its files no longer change, and returns what they contain. */
    std::map<std::string, std::string> closedContent(const QByteArray& home)
    {
        close(home);
        return contentsOf(home.toStdString());
    }

    /** A closed environment whose database "orders" has a row with this value. */
    QByteArray closedHome(const char* name, const std::string& value)
    {
        const QByteArray home = makeHome(name);
        put(home, "orders", value);
        close(home);
        return home;
    }

    /** Opening database `file` fails, and the log names Berkeley DB's or the system's result `rc`. */
    void expectRefusedFile(const QByteArray& home, const QByteArray& file, int rc)
    {
        (void)openedEnv(home);
        LogCapture log(LogWarn);
        BDBIndex* index = nullptr;
        EXPECT_EQ(openFile(home, file, &index), 12) << file.toStdString();
        EXPECT_EQ(index, nullptr);
        EXPECT_THAT(ownLines(log), testing::ElementsAre("[CRIT] bdb # Failed to open DB dbpath: " + file.toStdString() +
                                                        " dbname data rc " + std::to_string(rc) + " flags 289"));
    }

    /** Opening the environment of `home` fails with `rc` in the log and changes nothing in the directory. */
    void expectRefused(const QByteArray& home, int rc)
    {
        const auto before = contentsOf(home.toStdString());
        LogCapture log;
        EnvironmentUse use;
        EXPECT_EQ(open(home, &use), 3);
        EXPECT_EQ(use.env(), nullptr);
        EXPECT_THAT(ownLines(log),
                    testing::ElementsAre("[CRIT] bdb # Failed to open env path: " + home.toStdString() +
                                         " id env::" + home.toStdString() + " rc " + std::to_string(rc)));
        EXPECT_EQ(contentsOf(home.toStdString()), before);
    }

    /** The same for a directory that an open environment has locked, and may be writing to. */
    void expectHeld(const QByteArray& home)
    {
        LogCapture log(LogWarn);
        EnvironmentUse use;
        EXPECT_EQ(open(home, &use), 3);
        EXPECT_THAT(ownLines(log), testing::ElementsAre("[CRIT] bdb # Failed to open env path: " + home.toStdString() +
                                                        " id env::" + home.toStdString() + " rc 11"));
    }

    /** Writes the DB_CONFIG of an environment. */
    static void configure(const QByteArray& home, const std::string& line)
    {
        std::ofstream(home.toStdString() + "/DB_CONFIG") << line << '\n';
    }

    /** The DB_CONFIG in `home` names the directory of `other`: `home` is refused, and `other` stays as it is. */
    void expectRefusedForTheOther(const QByteArray& home, const QByteArray& other)
    {
        put(other, "orders", "other's");
        expectRefused(home, EBUSY);
        const auto before = closedContent(other);
        expectRefused(home, EBUSY);
        EXPECT_EQ(contentsOf(other.toStdString()), before);
        EXPECT_EQ(row(other, "orders"), "other's");
    }

    /** Creates or replaces a symbolic link below the test's directory. */
    void link(const QByteArray& target, const std::string& name) const
    {
        const std::string path = temp_.file(name);
        const std::string fresh = path + ".new";
        ASSERT_EQ(symlink(target.constData(), fresh.c_str()), 0);
        ASSERT_EQ(rename(fresh.c_str(), path.c_str()), 0); // as `ln -sfn` does it
    }
};

#endif
