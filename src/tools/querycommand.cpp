#include "tools/querycommand.h"

#include <optional>

namespace Ctl {

namespace {

QVariantMap text(const QString& value)
{
    return {{"S", value}};
}

QVariantMap condition(const char* comparison, const QVariantList& values)
{
    return {{"ComparisonOperator", comparison}, {"AttributeValueList", values}};
}

/** The smallest key above all keys that begin with `prefix`; nothing when there is none. Keys are Latin-1. */
std::optional<QString> successorOf(QString prefix)
{
    while (!prefix.isEmpty()) {
        const char16_t last = prefix.back().unicode();
        if (last != 0xff) { // above that there is no key: the server refuses it, as it does on the way up
            prefix.back() = QChar(static_cast<char16_t>(last + 1));
            return prefix;
        }
        prefix.chop(1);
    }
    return std::nullopt;
}

/**
 * All keys, read from the last one down. A query down without a condition begins at the byte 255 instead, above which
 * there may be more, and when its start key was deleted meanwhile, it answers the next greater one a second time.
 */
QVariantMap downFromTheLast()
{
    constexpr int LongerThanKeys = 1024;
    return condition("LE", {text(QString(LongerThanKeys, QChar(0xff)))});
}

} // namespace

QueryCommand::QueryCommand(CLI::App* app)
    : command_(app->add_subcommand("query", "Print the items of one hash key, in the order of their range keys"))
{
    command_->fallthrough();
    addTableArgument(command_, &table_);
    command_->add_option("HASH", hash_, "The hash key")->required();

    auto* group = command_->add_option_group("Condition", "on the range key, at most one");
    group->require_option(0, 1);
    static constexpr std::pair<const char*, const char*> oneValued[] = {
        {"--eq", "EQ"}, {"--lt", "LT"}, {"--le", "LE"}, {"--gt", "GT"}, {"--ge", "GE"}};
    for (const auto& [name, comparison] : oneValued)
        conditions_.emplace_back(group->add_option(name, value_, comparison), comparison);
    beginsWith_ = group->add_option("--begins-with", value_, "BEGINS_WITH");
    group->add_option("--between", between_, "BETWEEN, both ends included")->expected(2);

    command_->add_flag(
        "--backward", backward_,
        "From the last range key down. Conditions other than --begins-with decide for themselves: --lt and "
        "--le walk down, the rest up");
    options_.declare(command_);
    addExample(command_, "quorvactl query 'build/shop|orders' abc --begins-with 2012-");
}

int QueryCommand::run(const ServerAddress& server) const
{
    QVariantMap body{{"TableName", QString::fromStdString(table_)},
                     {"HashKeyValue", text(QString::fromStdString(hash_))},
                     {"ScanIndexForward", !backward_}};
    if (beginsWith_->count() > 0)
        return runBeginsWith(server, body);
    const QVariantMap value = text(QString::fromStdString(value_));
    if (backward_)
        body.insert("RangeKeyCondition", downFromTheLast());
    for (const auto& [option, comparison] : conditions_) {
        if (option->count() > 0)
            body.insert("RangeKeyCondition", condition(comparison, {value}));
    }
    if (!between_.empty())
        body.insert("RangeKeyCondition", condition("BETWEEN", {text(QString::fromStdString(between_.at(0))),
                                                               text(QString::fromStdString(between_.at(1)))}));
    return PagedRead(options_, "Query", body).run(server);
}

/**
 * The server cannot page BEGINS_WITH: the start key of the second page takes the prefix's place. The keys with a prefix
 * lie between it and the first key above them all, so they are read up from the one or down from the other, until a key
 * without the prefix comes.
 */
int QueryCommand::runBeginsWith(const ServerAddress& server, QVariantMap body) const
{
    const QString prefix = QString::fromStdString(value_);
    const auto end = successorOf(prefix);
    if (backward_)
        body.insert("RangeKeyCondition", end ? condition("LT", {text(*end)}) : downFromTheLast());
    else if (!prefix.isEmpty())
        body.insert("RangeKeyCondition", condition("GE", {text(prefix)}));

    Session session(server);
    TableKeys keys; // they tell where an item's range key is
    if (const int code = session.readKeys(table_, &keys))
        return code;
    return PagedRead(options_, "Query", body,
                     [&](const QVariantMap& item) {
                         return item.value(keys.range).toMap().value("S").toString().startsWith(prefix);
                     })
        .run(server);
}

} // namespace Ctl
