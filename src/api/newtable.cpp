#include "api/newtable.h"

#include "api/members.h"
#include "api/tableoptions.h"

#include <QUuid>

#include <utility>
#include <vector>

namespace Api {

namespace {

std::string joined(const std::vector<std::string_view>& words)
{
    std::string text;
    for (const std::string_view word : words)
        text.append(text.empty() ? "" : ", ").append(word);
    return '[' + text + ']';
}

std::vector<std::string_view> namesIn(const Items::JsonValue& list)
{
    std::vector<std::string_view> names;
    for (const Items::JsonValue& element : list.GetArray())
        names.push_back(textIn(element, "AttributeName"));
    return names;
}

/** The roles of one or two keys. */
Failure checkRoles(const Items::JsonValue& schema)
{
    if (textIn(schema[0], "KeyType") != "HASH")
        return Errors::validation("Invalid KeySchema: The first KeySchemaElement is not a HASH key type");
    if (schema.Size() == 1)
        return std::nullopt;
    if (textIn(schema[0], "AttributeName") == textIn(schema[1], "AttributeName"))
        return Errors::validation("Both the Hash Key and the Range Key element in the KeySchema have the same name");
    if (textIn(schema[1], "KeyType") != "RANGE")
        return Errors::validation("Invalid KeySchema: The second KeySchemaElement is not a RANGE key type");
    return std::nullopt;
}

std::optional<KeyAttribute> definitionOf(std::string_view name, const Items::JsonValue& definitions)
{
    for (const Items::JsonValue& definition : definitions.GetArray()) {
        if (textIn(definition, "AttributeName") == name)
            return KeyAttribute{std::string(name), keyTypeNamed(textIn(definition, "AttributeType")).value()};
    }
    return std::nullopt;
}

Failure readKeys(const Items::JsonValue& request, Table* table)
{
    const Items::JsonValue& schema = *member(request, "KeySchema");
    const Items::JsonValue& definitions = *member(request, "AttributeDefinitions");
    if (Failure failure = checkRoles(schema))
        return failure;
    const std::vector<std::string_view> names = namesIn(schema);
    for (std::size_t i = 0; i < names.size(); ++i) {
        std::optional<KeyAttribute> key = definitionOf(names[i], definitions);
        if (!key)
            return Errors::invalidParameter(
                "Some index key attributes are not defined in AttributeDefinitions. Keys: " + joined(names) +
                ", AttributeDefinitions: " + joined(namesIn(definitions)));
        if (i == 0)
            table->hash = std::move(*key);
        else
            table->range = std::move(key);
    }
    if (definitions.Size() != schema.Size())
        return Errors::invalidParameter("Number of attributes in KeySchema does not exactly match number of attributes "
                                        "defined in AttributeDefinitions");
    table->serverRangeName = table->range ? table->range->name : std::string(TableDescriptions::NoRangeName);
    return std::nullopt;
}

} // namespace

Failure NewTable::read(const Items::JsonValue& request, Table* table)
{
    if (Failure failure = TableOptions::refuseUnavailable(request))
        return failure;
    if (Failure failure = readKeys(request, table))
        return failure;
    if (Failure failure = TableOptions::readCapacity(request, table))
        return failure;
    TableOptions::readOthers(request, table);
    if (const Items::JsonValue* const tags = member(request, "Tags"))
        return TableOptions::addTags(*tags, table);
    return std::nullopt;
}

void NewTable::complete(std::chrono::system_clock::time_point now, Table* table)
{
    table->creationTime = TableOptions::secondsOf(now);
    table->id = QUuid::createUuid().toString(QUuid::WithoutBraces).toStdString();
    if (table->isOnDemand)
        table->onDemandSince = table->creationTime;
}

} // namespace Api
