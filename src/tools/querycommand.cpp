#include "tools/querycommand.h"

#include "protocol/bodies.h"

namespace Ctl {

QueryCommand::QueryCommand(CLI::App* app)
    : command_(app->add_subcommand("query", "Print the items of one hash key, in the order of their range keys"))
{
    command_->fallthrough();
    addTableArgument(command_, &table_);
    command_->add_option("HASH", hash_, "The hash key")->required();

    auto* group = command_->add_option_group("Condition", "on the range key, at most one");
    group->require_option(0, 1);
    namespace Comparison = Bodies::Comparison;
    static constexpr std::pair<const char*, const char*> oneValued[] = {
        {"--eq", Comparison::Equal},   {"--lt", Comparison::Less},    {"--le", Comparison::AtMost},
        {"--gt", Comparison::Greater}, {"--ge", Comparison::AtLeast}, {"--begins-with", Comparison::BeginsWith}};
    for (const auto& [name, comparison] : oneValued)
        conditions_.emplace_back(group->add_option(name, value_, comparison), comparison);
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
    QVariantMap body = Bodies::query(QString::fromStdString(table_), QString::fromStdString(hash_));
    body.insert("ScanIndexForward", !backward_);
    if (const QVariantMap range = condition(); !range.isEmpty())
        body.insert("RangeKeyCondition", range);
    return PagedRead(options_, Operations::Query, body).run(server);
}

/** The condition on the range key, or nothing. */
QVariantMap QueryCommand::condition() const
{
    if (!between_.empty())
        return Bodies::condition(Bodies::Comparison::Between,
                                 {QString::fromStdString(between_.at(0)), QString::fromStdString(between_.at(1))});
    for (const auto& [option, comparison] : conditions_) {
        if (option->count() > 0)
            return Bodies::condition(comparison, {QString::fromStdString(value_)});
    }
    return {};
}

} // namespace Ctl
