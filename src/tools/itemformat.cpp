#include "tools/itemformat.h"

#include <CLI/CLI.hpp>

namespace Ctl {

namespace {

std::string nameOf(ItemFormat format)
{
    switch (format) {
    case ItemFormat::Csv:
        return "csv";
    case ItemFormat::DynamodbJson:
        return "dynamodb-json";
    case ItemFormat::Json:
        break;
    }
    return "json";
}

} // namespace

void addFormatOption(CLI::App* command, const std::vector<ItemFormat>& formats, const std::string& description,
                     ItemFormat* format)
{
    std::vector<std::string> names;
    names.reserve(formats.size());
    for (const ItemFormat one : formats)
        names.push_back(nameOf(one));
    const auto choose = [formats, format](const std::string& name) {
        for (const ItemFormat one : formats) {
            if (nameOf(one) == name)
                *format = one;
        }
    };
    *format = formats.front();
    command->add_option_function<std::string>("--format", choose, description)
        ->check(CLI::IsMember(names))
        ->default_str(names.front());
}

} // namespace Ctl
