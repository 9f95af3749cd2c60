#ifndef QUORVA_PROTOCOL_OPERATIONS_H
#define QUORVA_PROTOCOL_OPERATIONS_H

#include <QByteArray>

#include <array>
#include <string_view>

/** The operations that a request can name. On the wire, names have a prefix: "DynamoDB_20111205.PutItem". */
namespace Operations {

/** The prefix of the API's operations, in frames and in the HTTP header "X-Amz-Target". */
inline constexpr std::string_view ApiPrefix = "DynamoDB_20111205.";

/** The prefix of operations that are not part of the API. */
inline constexpr std::string_view OwnPrefix = "Quorva_1.";

struct Operation {
    std::string_view prefix;
    std::string_view name;

    QByteArray fullName() const;
    constexpr bool isNamed(std::string_view fullName) const
    {
        return fullName.size() == prefix.size() + name.size() && fullName.ends_with(name) &&
               fullName.starts_with(prefix);
    }
    bool operator==(const Operation&) const = default;
};

inline constexpr Operation BatchWriteItem{ApiPrefix, "BatchWriteItem"};
inline constexpr Operation CreateTable{ApiPrefix, "CreateTable"};
inline constexpr Operation DeleteItem{ApiPrefix, "DeleteItem"};
inline constexpr Operation DeleteTable{ApiPrefix, "DeleteTable"};
inline constexpr Operation DescribeTable{ApiPrefix, "DescribeTable"};
inline constexpr Operation GetItem{ApiPrefix, "GetItem"};
inline constexpr Operation PutItem{ApiPrefix, "PutItem"};
inline constexpr Operation Query{ApiPrefix, "Query"};
inline constexpr Operation Scan{ApiPrefix, "Scan"};
inline constexpr Operation UpdateItem{ApiPrefix, "UpdateItem"};
inline constexpr Operation UpdateTable{ApiPrefix, "UpdateTable"};

inline constexpr Operation Commit{OwnPrefix, "Commit"};
inline constexpr Operation CompactTable{OwnPrefix, "CompactTable"};
inline constexpr Operation DescribeBackup{OwnPrefix, "DescribeBackup"};
inline constexpr Operation DropTable{OwnPrefix, "DropTable"};
inline constexpr Operation ListTables{OwnPrefix, "ListTables"};
inline constexpr Operation Status{OwnPrefix, "Status"};
inline constexpr Operation TruncateTable{OwnPrefix, "TruncateTable"};

/** The operations of the API, all supported by the server; shell completion and quorva-http offer these. */
inline constexpr std::array Api{BatchWriteItem, CreateTable, DeleteItem, DeleteTable, DescribeTable, GetItem,
                                PutItem,        Query,       Scan,       UpdateItem,  UpdateTable};

/**
 * "PutItem" becomes "DynamoDB_20111205.PutItem"; a name that contains a "." is a full one and is returned unchanged.
 */
QByteArray fullName(const QByteArray& name);

} // namespace Operations

#endif
