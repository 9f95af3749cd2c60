#ifndef QUORVA_TESTS_REQUEST_LISTTABLESFIXTURE_H
#define QUORVA_TESTS_REQUEST_LISTTABLESFIXTURE_H

#include "support/tablefixture.h"

#include <filesystem>
#include <fstream>
#include <string>

#include <sys/stat.h>

inline constexpr qlonglong EmptyTableBytes =
    4LL * 2048; // two pages for the list of sub-databases, two for the description

class ListTables : public TableTest {
protected:
    QVariantMap list(const std::string& directory)
    {
        return request("Quorva_1.ListTables", {{"Directory", QString::fromStdString(directory)}});
    }
    QVariantMap list() { return list(home()); }

    /** The reply for `home()`; "Directory" is its canonical path. */
    QVariantMap listed(bool isOpen, const QVariantList& tables, const QVariantMap& more = {}) const
    {
        return okReply(merged({{"Directory", QString::fromStdString(std::filesystem::canonical(home()).string())},
                               {"Open", isOpen},
                               {"Tables", tables}},
                              more));
    }
    QVariantMap table(const QString& name, int files, qlonglong bytes, const QVariantMap& schema = keySchema()) const
    {
        QVariantMap entry{{"TableName", tableName(name)}, {"Files", qlonglong(files)}, {"Bytes", bytes}};
        if (!schema.isEmpty())
            entry.insert("KeySchema", schema);
        return entry;
    }

    void close() { EXPECT_EQ(request("DeleteTable", {{"TableName", tableName()}}), okReply()); }

    qlonglong bytesOf(const std::string& file) const
    {
        return static_cast<qlonglong>(std::filesystem::file_size(std::filesystem::path(home()) / file));
    }

    /** Files that have nothing to do with tables, as anyone may put them there. */
    void addForeignFiles() const
    {
        std::ofstream(home() + "/text") << "no database";
        std::ofstream(home() + "/empty");
        std::ofstream(home() + "/text_0a.db") << std::string(4096, 'x');
        ASSERT_EQ(::mkfifo((home() + "/fifo").c_str(), 0600), 0);
        ASSERT_EQ(::mkfifo((home() + "/fifo_0a.db").c_str(), 0600), 0);
        std::filesystem::create_symlink("nowhere", home() + "/dangling");
        std::filesystem::create_directory(home() + "/emptydirectory");
    }
};

#endif
