#include "api/tablefigures.h"

#include "api/directorylist.h"
#include "api/members.h"
#include "format/partitions.h"
#include "protocol/operations.h"

#include <optional>

namespace Api {

namespace {

constexpr long long PageItems = 2000;

std::string scanOf(const Table& table, const rapidjson::Value* lastKey)
{
    rapidjson::StringBuffer text;
    JsonWriter writer(text);
    writer.StartObject();
    put("TableName", table.name.real, &writer);
    put("Count", true, &writer);
    put("Limit", PageItems, &writer);
    if (lastKey != nullptr) {
        putName("ExclusiveStartKey", &writer);
        writer.StartObject();
        for (const std::string_view element : {"HashKeyElement", "RangeKeyElement"}) {
            putName(element, &writer);
            writer.StartObject();
            put("S", textIn(*lastKey, element), &writer);
            writer.EndObject();
        }
        writer.EndObject();
    }
    writer.EndObject();
    return {text.GetString(), text.GetSize()};
}

/** The bytes of a key from the text that stands for them, with a character for each. */
std::string bytesOf(std::string_view latin1InUtf8)
{
    const QByteArray bytes =
        QString::fromUtf8(latin1InUtf8.data(), static_cast<qsizetype>(latin1InUtf8.size())).toLatin1();
    return bytes.toStdString();
}

/** The part of a table that a scan has passed when this is its last key. */
double passed(const rapidjson::Value& lastKey)
{
    const unsigned file = Partitions::ofHashKey(bytesOf(textIn(lastKey, "HashKeyElement")));
    return (file + 0.5) / Partitions::Count;
}

} // namespace

Failure ItemCounts::count(const Table& table, Context& context, long long* items)
{
    const std::string key = table.name.real + '\n' + table.id;
    const auto begin = context.settings.now();
    {
        const std::lock_guard lock(mutex_);
        std::erase_if(known_, [&](const auto& entry) { return entry.second.until <= begin; });
        if (const auto found = known_.find(key); found != known_.end()) {
            *items = found->second.items;
            return std::nullopt;
        }
    }
    long long counted = 0;
    ServerReply page;
    const rapidjson::Value* lastKey = nullptr;
    do {
        const std::string body = scanOf(table, lastKey);
        if (Failure failure = context.server.send(Operations::Scan, body, &page))
            return failure;
        if (Failure failure = page.failure())
            return failure;
        counted += numberIn(page.body(), "Count").value_or(0);
        lastKey = member(page.body(), "LastEvaluatedKey");
    } while (lastKey != nullptr && context.settings.now() - begin < Moment);
    *items = lastKey == nullptr ? counted : static_cast<long long>(static_cast<double>(counted) / passed(*lastKey));

    const auto end = context.settings.now();
    if (end - begin < Long)
        return std::nullopt;
    const std::lock_guard lock(mutex_);
    known_.insert_or_assign(key, Known{*items, end + Reuse * (end - begin)});
    return std::nullopt;
}

Failure describe(const Table& table, std::string_view member, Context& context, JsonWriter* reply)
{
    TableFigures figures;
    DirectoryList::Entry files;
    if (Failure failure = DirectoryList::find(context.server, table.name.real, &files))
        return failure;
    figures.bytes = files.bytes;
    // A scan would make the data files of a table that has none yet.
    if (Failure failure = files.files > 1 ? context.counts.count(table, context, &figures.items) : std::nullopt)
        return failure;
    reply->StartObject();
    putName(member, reply);
    TableDescriptions::write(table, "ACTIVE", figures, reply);
    reply->EndObject();
    return std::nullopt;
}

} // namespace Api
