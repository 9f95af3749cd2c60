#include "api/tabledescription.h"

#include "api/members.h"

#include <array>
#include <utility>

namespace Api {

namespace {

/**
 * The member of the server's "ProvisionedThroughput" for what only this API knows. The server stores that object
 * unchanged. On disk: do not change.
 */
constexpr std::string_view ExtensionName = "V20120810";

constexpr std::array Types{std::pair{KeyType::String, "S"}, std::pair{KeyType::Number, "N"},
                           std::pair{KeyType::Binary, "B"}};

void putNumber(std::string_view name, double number, JsonWriter* writer)
{
    putName(name, writer);
    writer->Double(number);
}

void putKey(std::string_view name, std::string_view attribute, JsonWriter* writer)
{
    putName(name, writer);
    writer->StartObject();
    put("AttributeName", attribute, writer);
    put("AttributeType", std::string_view("S"), writer); // the server's keys are strings
    writer->EndObject();
}

void putExtension(const Table& table, JsonWriter* writer)
{
    putName(ExtensionName, writer);
    writer->StartObject();
    put("HashKeyType", nameOf(table.hash.type), writer);
    if (table.range)
        put("RangeKeyType", nameOf(table.range->type), writer);
    put("IsLatin1", table.isLatin1, writer);
    put("IsOnDemand", table.isOnDemand, writer);
    if (table.onDemandSince > 0)
        putNumber("OnDemandSince", table.onDemandSince, writer);
    putNumber("CreationDateTime", table.creationTime, writer);
    put("TableId", table.id, writer);
    if (!table.tableClass.empty())
        put("TableClass", table.tableClass, writer);
    put("IsProtected", table.isProtected, writer);
    putName("Tags", writer);
    writer->StartObject();
    for (const auto& [key, value] : table.tags)
        put(key, value, writer);
    writer->EndObject();
    writer->EndObject();
}

double numberOf(const Items::JsonValue& object, std::string_view name)
{
    const Items::JsonValue* const found = member(object, name);
    return found != nullptr && found->IsNumber() ? found->GetDouble() : 0;
}

std::string_view keyName(const Items::JsonValue& description, std::string_view element)
{
    const Items::JsonValue* const schema = member(description, "KeySchema");
    const Items::JsonValue* const key = schema != nullptr ? member(*schema, element) : nullptr;
    return key != nullptr ? textIn(*key, "AttributeName") : std::string_view();
}

bool readExtension(const Items::JsonValue& extension, Table* table)
{
    const std::optional<KeyType> hashType = keyTypeNamed(textIn(extension, "HashKeyType"));
    const std::string_view rangeTypeName = textIn(extension, "RangeKeyType");
    const std::optional<KeyType> rangeType = keyTypeNamed(rangeTypeName);
    if (!hashType || (!rangeType && !rangeTypeName.empty()))
        return false;
    table->hash.type = *hashType;
    if (rangeType)
        table->range = KeyAttribute{table->serverRangeName, *rangeType};
    table->isLatin1 = boolIn(extension, "IsLatin1").value_or(false);
    table->isOnDemand = boolIn(extension, "IsOnDemand").value_or(false);
    table->onDemandSince = numberOf(extension, "OnDemandSince");
    table->creationTime = numberOf(extension, "CreationDateTime");
    table->id = textIn(extension, "TableId");
    table->tableClass = textIn(extension, "TableClass");
    table->isProtected = boolIn(extension, "IsProtected").value_or(false);
    if (const Items::JsonValue* const tags = member(extension, "Tags"); tags != nullptr && tags->IsObject()) {
        for (const auto& tag : tags->GetObject()) {
            if (tag.value.IsString())
                table->tags.emplace(textOf(tag.name), textOf(tag.value));
        }
    }
    return true;
}

void putAttribute(const KeyAttribute& key, JsonWriter* writer)
{
    writer->StartObject();
    put("AttributeName", key.name, writer);
    put("AttributeType", nameOf(key.type), writer);
    writer->EndObject();
}

void putSchemaElement(const KeyAttribute& key, std::string_view role, JsonWriter* writer)
{
    writer->StartObject();
    put("AttributeName", key.name, writer);
    put("KeyType", role, writer);
    writer->EndObject();
}

void putKeys(const Table& table, JsonWriter* writer)
{
    putName("AttributeDefinitions", writer);
    writer->StartArray();
    putAttribute(table.hash, writer);
    if (table.range)
        putAttribute(*table.range, writer);
    writer->EndArray();
    putName("KeySchema", writer);
    writer->StartArray();
    putSchemaElement(table.hash, "HASH", writer);
    if (table.range)
        putSchemaElement(*table.range, "RANGE", writer);
    writer->EndArray();
}

void putCapacity(const Table& table, JsonWriter* writer)
{
    putName("ProvisionedThroughput", writer);
    writer->StartObject();
    put("NumberOfDecreasesToday", 0, writer);
    put("ReadCapacityUnits", table.readUnits, writer);
    put("WriteCapacityUnits", table.writeUnits, writer);
    writer->EndObject();
    if (table.onDemandSince <= 0)
        return;
    putName("BillingModeSummary", writer);
    writer->StartObject();
    put("BillingMode", std::string_view(table.isOnDemand ? "PAY_PER_REQUEST" : "PROVISIONED"), writer);
    putNumber("LastUpdateToPayPerRequestDateTime", table.onDemandSince, writer);
    writer->EndObject();
}

} // namespace

std::string_view nameOf(KeyType type)
{
    return Types[static_cast<std::size_t>(type)].second;
}

std::optional<KeyType> keyTypeNamed(std::string_view name)
{
    for (const auto& [type, text] : Types) {
        if (name == text)
            return type;
    }
    return std::nullopt;
}

std::string TableName::arn() const
{
    return "arn:aws:dynamodb:local:000000000000:table/" + shown;
}

std::string TableDescriptions::creation(const Table& table)
{
    Items::JsonText text;
    JsonWriter writer(text);
    writer.StartObject();
    put("TableName", table.name.real, &writer);
    putName("KeySchema", &writer);
    writer.StartObject();
    putKey("HashKeyElement", table.hash.name, &writer);
    putKey("RangeKeyElement", table.serverRangeName, &writer);
    writer.EndObject();
    putName("ProvisionedThroughput", &writer);
    writer.StartObject();
    put("ReadCapacityUnits", table.readUnits, &writer);
    put("WriteCapacityUnits", table.writeUnits, &writer);
    putExtension(table, &writer);
    writer.EndObject();
    writer.EndObject();
    return {text.GetString(), text.GetSize()};
}

std::optional<Table> TableDescriptions::read(const TableName& name, const Items::JsonValue& description)
{
    Table table;
    table.name = name;
    table.hash.name = keyName(description, "HashKeyElement");
    table.serverRangeName = keyName(description, "RangeKeyElement");
    table.creationTime = numberOf(description, "CreationDateTime");
    const Items::JsonValue* const throughput = member(description, "ProvisionedThroughput");
    const Items::JsonValue* extension = nullptr;
    if (throughput != nullptr) {
        table.readUnits = numberIn(*throughput, "ReadCapacityUnits").value_or(0);
        table.writeUnits = numberIn(*throughput, "WriteCapacityUnits").value_or(0);
        extension = member(*throughput, ExtensionName);
    }
    if (extension != nullptr)
        return readExtension(*extension, &table) ? std::optional(std::move(table)) : std::nullopt;
    table.isLatin1 = true;
    table.range = KeyAttribute{table.serverRangeName, KeyType::String};
    return table;
}

void TableDescriptions::write(const Table& table, std::string_view status, const TableFigures& figures,
                              JsonWriter* writer)
{
    writer->StartObject();
    putKeys(table, writer);
    put("TableName", table.name.shown, writer);
    put("TableStatus", status, writer);
    putNumber("CreationDateTime", table.creationTime, writer);
    putCapacity(table, writer);
    put("TableSizeBytes", figures.bytes, writer);
    put("ItemCount", figures.items, writer);
    put("TableArn", table.name.arn(), writer);
    if (!table.id.empty())
        put("TableId", table.id, writer);
    if (!table.tableClass.empty()) {
        putName("TableClassSummary", writer);
        writer->StartObject();
        put("TableClass", table.tableClass, writer);
        writer->EndObject();
    }
    put("DeletionProtectionEnabled", table.isProtected, writer);
    writer->EndObject();
}

} // namespace Api
