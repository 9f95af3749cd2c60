#include "tools/pagedread.h"

#include "client/itemreader.h"
#include "protocol/bodies.h"
#include "tools/arguments.h"
#include "tools/exitcode.h"
#include "tools/messages.h"
#include "tools/replies.h"
#include "json/jsonwriter.h"

#include <CLI/CLI.hpp>

#include <cstdio>

namespace Ctl {

void PageOptions::declare(CLI::App* command)
{
    addLimitOption(command, &limit);
    auto* maxOption = command->add_option("--max", max, "Stop after this many items")->check(wholeNumber(0, "items"));
    command->add_flag("--count", countOnly, "Print the number of items instead of the items")->excludes(maxOption);
    addAttributesOption(command, &attributes);
}

PagedRead::PagedRead(const PageOptions& options, const Operations::Operation& operation, QVariantMap body)
    : options_(options), operation_(operation), body_(std::move(body))
{
    requestAttributes(options_.attributes, &body_);
}

int PagedRead::run(const ServerAddress& server)
{
    if (const int code = checkTableName(table()))
        return code;
    Session session(server);
    int code = ExitOk;
    const auto exchange = [&](const Operations::Operation& operation, const QVariantMap& body, QVariantMap* reply) {
        code = session.request(operation, body, reply);
        if (code == ExitErrorReply)
            code = complainOf(session, *reply);
        return code == ExitOk;
    };
    Client::ItemReader reader(exchange, operation_, body_, options_.limit);
    long long found = 0;
    while ((options_.max < 0 || found < options_.max) && reader.next()) {
        ++found;
        if (const int refused = takeItem(reader.item()))
            return refused;
    }
    return code != ExitOk || sink_ ? code : printEnd(found);
}

/** The server answers a read from a missing table like any other failure, so the table is checked. */
int PagedRead::complainOf(Session& session, const QVariantMap& reply) const
{
    QVariantMap description;
    const int described =
        session.request(Operations::DescribeTable, Bodies::table(QString::fromStdString(table())), &description);
    if (described == ExitNoReply)
        return described;
    if (described == ExitErrorReply && isNotFound(description))
        return session.complainNotFound(table(), description);
    complainReply("cannot read the table " + table(), reply);
    return ExitErrorReply;
}

int PagedRead::takeItem(const QVariantMap& item) const
{
    if (!sink_ && options_.countOnly)
        return ExitOk;
    const QByteArray line = Json::serialize(item);
    if (sink_)
        return sink_(line);
    std::printf("%s\n", line.constData());
    return ExitOk;
}

int PagedRead::printEnd(long long found) const
{
    if (options_.countOnly)
        std::printf("%lld\n", found);
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0)
        return ExitOk;
    complain("cannot write standard output");
    return ExitNoReply;
}

} // namespace Ctl
