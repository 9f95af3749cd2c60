#include "api/batchkeys.h"
#include "api/capacity.h"
#include "api/itemio.h"
#include "api/itemoperations.h"
#include "api/itemrequests.h"
#include "api/itemstore.h"
#include "api/members.h"
#include "api/storedkeys.h"
#include "api/tablecatalog.h"
#include "format/tablename.h"
#include "items/itemjson.h"
#include "items/itemsize.h"

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <utility>
#include <vector>

namespace Api {

namespace {

constexpr std::size_t MostWrites = 25;

/** One put or delete. */
struct Write {
    const Items::JsonValue* json = nullptr;
    StoredKey key{};
    std::optional<Items::Item> item{}; // of a put
};

/** The writes to one table. */
struct TableWrites {
    std::string name; // as in the request
    std::shared_ptr<const Table> table{};
    std::vector<Write> writes{};
};

Failure readWrite(const Table& table, const Items::JsonValue& json, Write* write)
{
    write->json = &json;
    const Items::JsonValue* const putRequest = member(json, "PutRequest");
    const Items::JsonValue* const deleteRequest = member(json, "DeleteRequest");
    if ((putRequest == nullptr) == (deleteRequest == nullptr))
        return Errors::validation("Supplied WriteRequest must contain exactly one of PutRequest and DeleteRequest");
    if (deleteRequest != nullptr)
        return ItemKeys::read(table, *member(*deleteRequest, "Key"), &write->key);
    if (Failure failure = readItem(*member(*putRequest, "Item"), &write->item.emplace()))
        return failure;
    if (Failure failure = ItemKeys::ofItem(table, *write->item, &write->key))
        return failure;
    if (Items::sizeOfItem(*write->item) > Items::MostItemBytes)
        return Errors::validation("Item size has exceeded the maximum allowed size");
    return std::nullopt;
}

/** Parses and checks the whole request. */
Failure readRequest(const Items::JsonValue& request, Context& context, std::vector<TableWrites>* tables)
{
    const auto all = lastMembers(*member(request, "RequestItems"));
    std::size_t count = 0;
    for (const auto& [name, writes] : all)
        count += writes->Size();
    if (count > MostWrites)
        return Errors::validation("Too many items requested for the BatchWriteItem call");
    BatchKeys keys(context.server);
    for (const auto& [name, writes] : all) {
        tables->push_back({std::string(name)});
        TableWrites& table = tables->back();
        if (Failure failure = context.tables.find(table.name, &table.table))
            return failure;
        for (const Items::JsonValue& json : writes->GetArray()) {
            Write& write = table.writes.emplace_back();
            if (Failure failure = readWrite(*table.table, json, &write))
                return failure;
            if (Failure failure = keys.add(*table.table, write.key))
                return failure;
        }
    }
    return std::nullopt;
}

using Batch = std::vector<const TableWrites*>;

/** The tables by directory: the server writes to those of one directory at once. Equal real names are adjacent. */
std::map<std::string, std::map<std::string, Batch>> byDirectory(const std::vector<TableWrites>& tables)
{
    std::map<std::string, std::map<std::string, Batch>> batches;
    for (const TableWrites& table : tables) {
        const std::string& real = table.table->name.real;
        batches[std::string(TableNames::directory(real))][real].push_back(&table);
    }
    return batches;
}

/** The server's request; false if an item cannot be stored. */
bool writeBody(const std::map<std::string, Batch>& tables, JsonWriter* body)
{
    body->StartObject();
    putName("RequestItems", body);
    body->StartObject();
    for (const auto& [real, batch] : tables) {
        putName(real, body);
        body->StartArray();
        for (const TableWrites* const table : batch) {
            for (const Write& write : table->writes) {
                if (!write.item)
                    ItemRequests::writeDelete(write.key, body);
                else if (!ItemRequests::writePut(*table->table, write.key, *write.item, body))
                    return false;
            }
        }
        body->EndArray();
    }
    body->EndObject();
    body->EndObject();
    return true;
}

/** Writes to all tables of one directory, or to none. */
Failure writeDirectory(const Context& context, const std::map<std::string, Batch>& tables)
{
    Items::JsonText body;
    JsonWriter writer(body);
    if (!writeBody(tables, &writer))
        return Errors::validation("Item size has exceeded the maximum allowed size");
    ServerReply reply;
    const ItemStore store(context, tables.begin()->second.front()->table);
    if (Failure failure = store.send(::Operations::BatchWriteItem, {body.GetString(), body.GetSize()}, &reply))
        return failure;
    return reply.failure(); // of a condition, which a batch does not have
}

void writeUnprocessed(const std::set<const TableWrites*>& failed, JsonWriter* reply)
{
    putName("UnprocessedItems", reply);
    reply->StartObject();
    for (const TableWrites* const table : failed) {
        putName(table->name, reply);
        reply->StartArray();
        for (const Write& write : table->writes)
            write.json->Accept(*reply);
        reply->EndArray();
    }
    reply->EndObject();
}

void writeCapacity(const Items::JsonValue& request, const std::vector<TableWrites>& tables, JsonWriter* reply)
{
    if (!Capacity::isWanted(request))
        return;
    putName("ConsumedCapacity", reply);
    reply->StartArray();
    for (const TableWrites& table : tables) {
        double units = 0;
        for (const Write& write : table.writes)
            units += Capacity::ofWrite(write.item ? Items::sizeOfItem(*write.item) : 0);
        Capacity::write(request, *table.table, units, reply);
    }
    reply->EndArray();
}

} // namespace

Failure batchWriteItem(const Items::JsonValue& request, Context& context, JsonWriter* reply)
{
    std::vector<TableWrites> tables;
    if (Failure failure = readRequest(request, context, &tables))
        return failure;
    const auto batches = byDirectory(tables);
    std::set<const TableWrites*> failed;
    Failure firstFailure;
    for (const auto& [directory, batch] : batches) {
        Failure failure = writeDirectory(context, batch);
        if (!failure)
            continue;
        for (const auto& [real, writes] : batch)
            failed.insert(writes.begin(), writes.end());
        if (!firstFailure)
            firstFailure = std::move(failure);
    }
    // The rest has been written and is not undone. Only if nothing was written, the reply is the error.
    if (failed.size() == tables.size())
        return firstFailure;
    reply->StartObject();
    writeUnprocessed(failed, reply);
    writeCapacity(request, tables, reply);
    reply->EndObject();
    return std::nullopt;
}

} // namespace Api
