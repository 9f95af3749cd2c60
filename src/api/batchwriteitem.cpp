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

#include <algorithm>
#include <cstddef>
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
    Items::Item attributes{}; // the item to put, or the key of the item to delete
    bool isPut = false;
    StoredKey key{};
    std::size_t oldBytes = 0; // of the item that is replaced or deleted, if the request wants to know
};

/** The writes to one table. */
struct TableWrites {
    std::string name; // as in the request
    std::shared_ptr<const Table> table{};
    std::vector<Write> writes{};
};

/** Reads what does not depend on the table. */
Failure readWrite(const Items::JsonValue& json, Write* write)
{
    write->json = &json;
    const Items::JsonValue* const putRequest = member(json, "PutRequest");
    const Items::JsonValue* const deleteRequest = member(json, "DeleteRequest");
    if ((putRequest == nullptr) == (deleteRequest == nullptr))
        return Errors::validation("Supplied WriteRequest must contain exactly one of PutRequest and DeleteRequest");
    write->isPut = putRequest != nullptr;
    const Items::JsonValue& attributes = write->isPut ? *member(*putRequest, "Item") : *member(*deleteRequest, "Key");
    if (Failure failure = readItem(attributes, &write->attributes))
        return failure;
    if (write->isPut && Items::sizeOfItem(write->attributes) > Items::MostItemBytes)
        return ItemStore::tooLarge();
    return std::nullopt;
}

Failure findKey(const Table& table, Write* write)
{
    return write->isPut ? ItemKeys::ofItem(table, write->attributes, &write->key)
                        : ItemKeys::ofKey(table, write->attributes, &write->key);
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
    for (const auto& [name, writes] : all) {
        tables->push_back({std::string(name)});
        TableWrites& table = tables->back();
        for (const Items::JsonValue& json : writes->GetArray()) {
            if (Failure failure = readWrite(json, &table.writes.emplace_back()))
                return failure;
        }
    }
    BatchKeys keys(context.server);
    for (TableWrites& table : *tables) {
        if (Failure failure = context.tables.find(table.name, &table.table))
            return failure;
        for (Write& write : table.writes) {
            if (Failure failure = findKey(*table.table, &write))
                return failure;
            if (Failure failure = keys.add(*table.table, write.key))
                return failure;
        }
    }
    return std::nullopt;
}

/** For the consumed capacity. An item that this API cannot read counts as nothing, and can be written to as well. */
void measureOld(const Context& context, std::vector<TableWrites>* tables)
{
    for (TableWrites& table : *tables) {
        const ItemStore store(context, table.table);
        for (Write& write : table.writes) {
            std::optional<Items::Item> old;
            const Failure failure = store.get(write.key, &old);
            if (failure && failure->type != Errors::validation({}).type)
                return; // the writes fail, too
            if (!failure && old)
                write.oldBytes = Items::sizeOfItem(*old);
        }
    }
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
                if (!write.isPut)
                    ItemRequests::writeDelete(write.key, body);
                else if (!ItemRequests::writePut(*table->table, write.key, write.attributes, body))
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
        return ItemStore::tooLarge();
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
            units += Capacity::ofWrite(
                std::max(write.oldBytes, write.isPut ? Items::sizeOfItem(write.attributes) : std::size_t()));
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
    if (Capacity::isWanted(request))
        measureOld(context, &tables);
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
