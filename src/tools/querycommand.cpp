#include "tools/querycommand.h"

#include "protocol/bodies.h"
#include "tools/arguments.h"

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
    namespace Comparison = Bodies::Comparison;
    static constexpr std::pair<const char*, const char*> oneValued[] = {
        {"--eq", Comparison::Equal},   {"--lt", Comparison::Less},    {"--le", Comparison::AtMost},
        {"--gt", Comparison::Greater}, {"--ge", Comparison::AtLeast}, {"--begins-with", Comparison::BeginsWith}};
    for (const auto& [name, comparison] : oneValued)
        conditions_.emplace_back(group->add_option(name, value_, comparison), comparison);
    group->add_option("--between", between_, "BETWEEN, both ends included")->expected(2);

    parser()->add_flag("--backward", backward_,
                       "In descending order. Only without a condition or with --begins-with: --lt and --le always "
                       "descend, the other conditions always ascend");
    options_.declare(parser());
}

int QueryCommand::run(const ServerAddress& server)
{
    QVariantMap body = Bodies::query(QString::fromStdString(table_), QString::fromStdString(hash_));
    Bodies::setForward(!backward_, &body);
    if (const QVariantMap range = condition(); !range.isEmpty())
        Bodies::setRangeCondition(range, &body);
    return PagedRead(options_, Operations::Query, body).run(server);
}

/** The condition on the range key; empty if there is none. */
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
