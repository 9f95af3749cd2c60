#ifndef QUORVA_API_TABLEDESCRIPTION_H
#define QUORVA_API_TABLEDESCRIPTION_H

#include "api/replyjson.h"
#include "items/json.h"

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace Api {

/** The types of key attributes: "S", "N" and "B". */
enum class KeyType { String, Number, Binary };

std::string_view nameOf(KeyType type);
std::optional<KeyType> keyTypeNamed(std::string_view name);

struct KeyAttribute {
    std::string name;
    KeyType type = KeyType::String;
};

/** The names of a table. */
struct TableName {
    std::string real;  // DIRECTORY|TABLE, the name on the server
    std::string shown; // in replies: without the directory if that is the default one

    std::string arn() const;
};

/** A table's description. */
struct Table {
    TableName name;

    // The keys.
    KeyAttribute hash;
    std::optional<KeyAttribute> range;
    /** The range key on the server, which requires one: NoRangeName in a table with only a hash key. */
    std::string serverRangeName;
    /** Made through the API of 2011-12-05 or the wire protocol: keys are strings of Latin-1 characters. */
    bool isLatin1 = false;

    // Only stored and shown.
    bool isOnDemand = false; // "PAY_PER_REQUEST"
    long long readUnits = 0;
    long long writeUnits = 0;
    double onDemandSince = 0; // seconds since 1970; 0: never
    double creationTime = 0;  // likewise
    std::string id;           // a UUID; empty if it is Latin-1
    std::string tableClass;   // empty if it was not given
    bool isProtected = false;
    std::map<std::string, std::string> tags;
};

/** The figures in a description. */
struct TableFigures {
    long long items = 0;
    long long bytes = 0;
};

namespace TableDescriptions {

/** The range key's name on the server in a table with only a hash key. No attribute of an item can have this name. */
inline constexpr std::string_view NoRangeName = ""; // not null. NOLINT(readability-redundant-string-init)

/** The body of the server's CreateTable that stores the table. */
std::string creation(const Table& table);

/** Reads the "Table" of the server's DescribeTable; empty if it cannot be understood. */
std::optional<Table> read(const TableName& name, const Items::JsonValue& description);

/** Writes the API's TableDescription, an object. */
void write(const Table& table, std::string_view status, const TableFigures& figures, JsonWriter* writer);

} // namespace TableDescriptions

} // namespace Api

#endif
