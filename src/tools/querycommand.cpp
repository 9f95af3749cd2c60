#include "tools/querycommand.h"

#include "tools/arguments.h"
#include "tools/itemtext.h"

#include <CLI/CLI.hpp>

namespace Ctl {

QueryCommand::QueryCommand(CLI::App* app)
    : Command(app, "query", "Print the items with one hash key, in the order of their range keys",
              "quorvactl query 'build/shop|orders' abc --begins-with 2012-")
{
    addTableArgument(parser(), &table_);
    parser()->add_option("HASH", hash_, "The hash key")->required();

    auto* group = parser()->add_option_group("Condition", "on the range key, at most one");
    group->require_option(0, 1);
    static constexpr std::pair<const char*, const char*> oneValued[] = {
        {"--eq", "EQ"}, {"--lt", "LT"}, {"--le", "LE"}, {"--gt", "GT"}, {"--ge", "GE"}};
    for (const auto& [name, comparison] : oneValued)
        conditions_.emplace_back(group->add_option(name, value_, comparison), comparison);
    beginsWith_ = group->add_option("--begins-with", value_, "BEGINS_WITH");
    group->add_option("--between", between_, "BETWEEN, both ends included")->expected(2);

    parser()->add_flag("--backward", backward_,
                       "In descending order. Only without a condition or with --begins-with: --lt and --le always "
                       "descend, the other conditions always ascend");
    options_.declare(parser());
}

int QueryCommand::run(const ServerAddress& server)
{
    const QString value = QString::fromStdString(value_);
    QVariantMap condition = backward_ ? Client::allKeysDown() : QVariantMap();
    for (const auto& [option, comparison] : conditions_) {
        if (option->count() > 0)
            condition = Client::rangeCondition(comparison, {value});
    }
    if (!between_.empty())
        condition = Client::rangeCondition(
            "BETWEEN", {QString::fromStdString(between_.at(0)), QString::fromStdString(between_.at(1))});
    const bool hasPrefix = beginsWith_->count() > 0;
    if (hasPrefix)
        condition = Client::keysWithPrefix(value, backward_);

    QVariantMap body{{"TableName", QString::fromStdString(table_)},
                     {"HashKeyValue", QVariantMap{{"S", QString::fromStdString(hash_)}}},
                     {"ScanIndexForward", !backward_}};
    if (!condition.isEmpty())
        body.insert("RangeKeyCondition", condition);
    if (!hasPrefix || !backward_)
        return PagedRead(options_, "Query", body).run(server);

    Session session(server);
    TableKeys keys; // they tell where an item's range key is
    if (const int code = session.readKeys(table_, &keys))
        return code;
    return PagedRead(options_, "Query", body,
                     [&](const QVariantMap& item) { return keyText(item, keys.range).startsWith(value); })
        .run(server);
}

} // namespace Ctl
