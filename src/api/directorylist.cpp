#include "api/directorylist.h"

#include "api/members.h"
#include "api/serverbodies.h"
#include "format/tablename.h"
#include "protocol/envelope.h"
#include "protocol/operations.h"

#include <utility>

namespace Api {

namespace {

struct Listing {
    std::vector<DirectoryList::Entry> entries;
    bool isOpen = false;
    std::string path; // canonical
};

/** `message`: the server's, that the directory does not exist. */
Error missing(std::string_view directory, std::string_view message)
{
    std::string text = "Requested resource not found: " + std::string(message);
    if (!directory.starts_with('/'))
        text += " It is relative to the server's working directory.";
    return Errors::resourceNotFound(text +
                                    " It is made with quorvactl init, and quorva-http --directory names another one.");
}

Failure request(const Server& server, std::string_view directory, Listing* listing)
{
    if (directory.empty())
        return Errors::validation("A table's name with a \"|\" has a directory in front of that");
    ServerReply reply;
    if (Failure failure = server.send(Operations::ListTables, RequestBodies::of("Directory", directory), &reply))
        return failure;
    if (reply.isError(ErrorTypes::ResourceNotFound))
        return missing(directory, reply.message());
    if (reply.isError(ErrorTypes::Validation))
        return Errors::validation(std::string(reply.message()));
    if (Failure failure = reply.failure())
        return failure;
    listing->isOpen = boolIn(reply.body(), "Open").value_or(false);
    listing->path = textIn(reply.body(), "Directory");
    listing->entries.clear();
    const Items::JsonValue* const tables = member(reply.body(), "Tables");
    if (tables == nullptr || !tables->IsArray())
        return std::nullopt;
    for (const Items::JsonValue& table : tables->GetArray())
        listing->entries.push_back({std::string(TableNames::filePart(textIn(table, "TableName"))),
                                    numberIn(table, "Files").value_or(0), numberIn(table, "Bytes").value_or(0),
                                    hasMember(table, "KeySchema")});
    return std::nullopt;
}

} // namespace

Failure DirectoryList::read(const Server& server, std::string_view directory, std::vector<Entry>* entries)
{
    Listing listing;
    Failure failure = request(server, directory, &listing);
    *entries = std::move(listing.entries);
    return failure;
}

Failure DirectoryList::readOpen(const Server& server, std::string_view directory, std::vector<Entry>* entries)
{
    Listing listing;
    Failure failure = request(server, directory, &listing);
    if (!failure && !listing.isOpen && !listing.entries.empty()) {
        const std::string first = std::string(directory) + '|' + listing.entries.front().table;
        ServerReply ignored; // sent only to open the directory
        failure = server.send(Operations::DescribeTable, RequestBodies::of("TableName", first), &ignored);
        if (!failure)
            failure = request(server, directory, &listing);
    }
    *entries = std::move(listing.entries);
    return failure;
}

Failure DirectoryList::findPath(const Server& server, std::string_view directory, std::string* path)
{
    Listing listing;
    Failure failure = request(server, directory, &listing);
    *path = std::move(listing.path);
    return failure;
}

Failure DirectoryList::find(const Server& server, std::string_view realName, Entry* entry)
{
    std::vector<Entry> entries;
    if (Failure failure = read(server, TableNames::directory(realName), &entries))
        return failure;
    const std::string_view table = TableNames::filePart(realName);
    // cppcheck-suppress knownEmptyContainer ; read() has filled it
    for (Entry& candidate : entries) {
        if (candidate.table == table)
            *entry = std::move(candidate);
    }
    return std::nullopt;
}

} // namespace Api
