/*
 * What the expressions of requests do with items, for comparison with another evaluation. Each line of standard input
 * is
 * {"kind": "Put", "request": {...}, "item": {...}}; each line of standard output is {"error": "..."}, or an object with
 * a member for each parameter that the request has.
 */
#include "expressions/parameters.h"
#include "items/itemjson.h"

#include <cstdio>
#include <iostream>
#include <string>
#include <utility>

namespace {

using Expressions::Condition;
using Expressions::Parameters;
using Expressions::RequestKind;
using Items::JsonWriter;

constexpr std::pair<std::string_view, RequestKind> Kinds[] = {
    {"Get", RequestKind::Get},       {"Put", RequestKind::Put},     {"Delete", RequestKind::Delete},
    {"Update", RequestKind::Update}, {"Query", RequestKind::Query}, {"Scan", RequestKind::Scan}};

RequestKind kindNamed(std::string_view name)
{
    for (const auto& [text, kind] : Kinds) {
        if (text == name)
            return kind;
    }
    return RequestKind::Get;
}

void writeText(JsonWriter* writer, const char* member, const std::string& text)
{
    writer->Key(member);
    writer->String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
}

void writeResult(JsonWriter* writer, const char* member, bool result)
{
    writer->Key(member);
    writer->Bool(result);
}

void writeItem(JsonWriter* writer, const char* member, const Items::Item& item)
{
    writer->Key(member);
    Items::writeItem(item, writer);
}

/** Whether the item is one that a Query finds. */
void writeKeys(JsonWriter* writer, const std::vector<Expressions::KeyTest>& tests, const Items::Item& item)
{
    static const Expressions::KeySchema Schema = {{"h", Items::AttributeValue::Type::String},
                                                  {{"r", Items::AttributeValue::Type::Number}}};
    Expressions::KeyCondition keys;
    std::string error;
    if (!bindKeyTests(tests, Schema, &keys, &error)) {
        writeText(writer, "keysError", error);
        return;
    }
    const auto hash = item.find("h");
    bool isFound = hash != item.end() && hash->second == keys.hash;
    if (keys.range) {
        Condition condition;
        condition.kind = keys.range->kind;
        condition.operands.push_back({Expressions::Path(keys.range->attribute), false});
        for (const Items::AttributeValue& value : keys.range->values)
            condition.operands.push_back({Expressions::shared(value), false});
        isFound = isFound && holds(condition, &item);
    }
    writeResult(writer, "keys", isFound);
}

void writeParameters(JsonWriter* writer, const Parameters& parameters, const Items::Item& item)
{
    if (parameters.condition)
        writeResult(writer, "condition", holds(*parameters.condition, &item));
    if (parameters.filter)
        writeResult(writer, "filter", holds(*parameters.filter, &item));
    if (!parameters.keyTests.empty())
        writeKeys(writer, parameters.keyTests, item);
    if (parameters.projection)
        writeItem(writer, "projection", parameters.projection->partsOf(item));
    if (parameters.update) {
        Items::Item after;
        std::string error;
        if (apply(*parameters.update, item, &after, &error)) {
            writeItem(writer, "updated", after);
            writeItem(writer, "old", placesOf(*parameters.update).partsOf(item));
        } else {
            writeText(writer, "updateError", error);
        }
    }
}

std::string replyTo(const std::string& line)
{
    Items::JsonText buffer;
    JsonWriter writer(buffer);
    writer.StartObject();
    Items::JsonDocument input;
    Items::Item item;
    Parameters parameters;
    Items::JsonError error;
    input.Parse(line.data(), line.size());
    if (input.HasParseError() || !Items::readItem(input["item"], &item, &error))
        writeText(&writer, "inputError", error.message);
    else if (!readParameters(kindNamed(input["kind"].GetString()), input["request"], &parameters, &error))
        writeText(&writer, "error", error.message);
    else
        writeParameters(&writer, parameters, item);
    writer.EndObject();
    return buffer.GetString();
}

} // namespace

int main()
{
    std::ios::sync_with_stdio(false);
    std::string line;
    while (std::getline(std::cin, line))
        std::cout << replyTo(line) << '\n';
    return std::cout.flush() ? 0 : 1;
}
