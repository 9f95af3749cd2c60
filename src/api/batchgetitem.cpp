#include "api/batchkeys.h"
#include "api/capacity.h"
#include "api/itemio.h"
#include "api/itemoperations.h"
#include "api/itemstore.h"
#include "api/members.h"
#include "api/storedkeys.h"
#include "api/tablecatalog.h"
#include "items/itemsize.h"

#include <memory>
#include <utility>
#include <vector>

namespace Api {

namespace {

constexpr std::size_t MostKeys = 100;
constexpr std::size_t MostBytes = 16 * 1024 * 1024; // of the items of a reply

/** The reads from one table. */
struct TableRead {
    std::string name; // as in the request; the reply uses the same
    const Items::JsonValue* json = nullptr;
    std::vector<Items::Item> keyAttributes{};
    std::shared_ptr<const Table> table{};
    std::vector<StoredKey> keys{};
    std::optional<Expressions::PathTree> projection{};
    bool isConsistent = false;
    rapidjson::SizeType done = 0; // how many keys
    double units = 0;
};

/** `seen` has the keys that the request has named before. */
Failure readKeys(BatchKeys* seen, TableRead* read)
{
    for (const Items::Item& attributes : read->keyAttributes) {
        StoredKey key;
        if (Failure failure = ItemKeys::ofKey(*read->table, attributes, &key))
            return failure;
        if (Failure failure = seen->add(*read->table, key))
            return failure;
        read->keys.push_back(std::move(key));
    }
    return std::nullopt;
}

/** Parses and checks the request; does not read items yet. */
Failure readRequest(const Items::JsonValue& request, Context& context, std::vector<TableRead>* reads)
{
    const Items::JsonValue& tables = *member(request, "RequestItems");
    std::size_t keys = 0;
    for (const auto& [name, json] : lastMembers(tables)) {
        reads->push_back({std::string(name), json});
        TableRead& read = reads->back();
        Expressions::Parameters parameters;
        if (Failure failure = readParameters(Expressions::RequestKind::Get, *json, &parameters))
            return failure;
        read.projection = std::move(parameters.projection);
        read.isConsistent = boolIn(*json, "ConsistentRead").value_or(false);
        for (const Items::JsonValue& key : member(*json, "Keys")->GetArray()) {
            if (Failure failure = readItem(key, &read.keyAttributes.emplace_back()))
                return failure;
        }
        keys += read.keyAttributes.size();
    }
    if (keys > MostKeys)
        return Errors::validation("Too many items requested for the BatchGetItem call");
    BatchKeys seen(context.server);
    for (TableRead& read : *reads) {
        if (Failure failure = context.tables.find(read.name, &read.table))
            return failure;
        if (Failure failure = readKeys(&seen, &read))
            return failure;
    }
    return std::nullopt;
}

/** Reads the items, and writes them while they fit. */
class BatchReader {
public:
    BatchReader(const Context& context, JsonWriter* reply) : context_(context), reply_(reply) {}

    Failure run(TableRead* read)
    {
        const ItemStore store(context_, read->table);
        putName(read->name, reply_);
        reply_->StartArray();
        for (; read->done < read->keys.size() && !isFull_; ++read->done) {
            std::optional<Items::Item> item;
            if (Failure failure = store.get(read->keys[read->done], &item))
                return failure;
            const std::size_t bytes = item ? Items::sizeOfItem(*item) : 0;
            isFull_ = bytes_ + bytes > MostBytes;
            if (isFull_)
                break;
            bytes_ += bytes;
            read->units += Capacity::ofRead(bytes, read->isConsistent);
            if (item)
                writeItem(*item, read->projection, reply_);
        }
        reply_->EndArray();
        return std::nullopt;
    }

private:
    const Context& context_;
    JsonWriter* const reply_;
    std::size_t bytes_ = 0;
    bool isFull_ = false;
};

/** The part of the request for one table, with the keys that were not read. */
void writeUnprocessed(const TableRead& read, JsonWriter* reply)
{
    putName(read.name, reply);
    reply->StartObject();
    for (const auto& [name, value] : read.json->GetObject()) {
        putName(textOf(name), reply);
        if (textOf(name) != "Keys") {
            value.Accept(*reply);
            continue;
        }
        reply->StartArray();
        for (rapidjson::SizeType i = read.done; i < value.Size(); ++i)
            value[i].Accept(*reply);
        reply->EndArray();
    }
    reply->EndObject();
}

} // namespace

Failure batchGetItem(const Items::JsonValue& request, Context& context, JsonWriter* reply)
{
    std::vector<TableRead> reads;
    if (Failure failure = readRequest(request, context, &reads))
        return failure;
    BatchReader reader(context, reply);
    reply->StartObject();
    putName("Responses", reply);
    reply->StartObject();
    for (TableRead& read : reads) {
        if (Failure failure = reader.run(&read))
            return failure;
    }
    reply->EndObject();
    putName("UnprocessedKeys", reply);
    reply->StartObject();
    for (const TableRead& read : reads) {
        if (read.done < read.keys.size())
            writeUnprocessed(read, reply);
    }
    reply->EndObject();
    if (Capacity::isWanted(request)) {
        putName("ConsumedCapacity", reply);
        reply->StartArray();
        for (const TableRead& read : reads)
            Capacity::write(request, *read.table, read.units, reply);
        reply->EndArray();
    }
    reply->EndObject();
    return std::nullopt;
}

} // namespace Api
