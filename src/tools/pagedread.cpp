#include "tools/pagedread.h"

#include "client/itemreader.h"
#include "protocol/bodies.h"
#include "tools/arguments.h"
#include "tools/exitcode.h"
#include "tools/messages.h"
#include "tools/replies.h"
#include "json/jsonwriter.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdio>

namespace Ctl {

void PageOptions::declare(CLI::App* command)
{
    addLimitOption(command, &limit);
    auto* maxOption = command->add_option("--max", max, "Stop after this many items")->check(wholeNumber(0, "items"));
    auto* countOption = command->add_flag("--count", countOnly, "Print the number of items instead of the items");
    countOption->excludes(maxOption);
    addAttributesOption(command, &attributes);
    addRepeatedOption(command, "--filter", &filters,
                      "Only items with such an attribute: NAME=TYPE:VALUE, or with !=, <, <=, >, >=, ^= (begins with) "
                      "or *= (contains); NAME if there is one, !NAME if not");
    for (CLI::Option* option : form.declare(command))
        countOption->excludes(option);
}

PagedRead::PagedRead(const PageOptions& options, const Operations::Operation& operation, QVariantMap body)
    : options_(options), operation_(operation), body_(std::move(body))
{}

int PagedRead::run(const ServerAddress& server)
{
    if (const int code = refuse(filter_.parse(options_.filters)))
        return code;
    if (const int code = checkTableName(table()))
        return code;
    Session session(server);
    if (const int code = prepare(&session))
        return code;
    int code = ExitOk;
    const auto request = [&](const Operations::Operation& operation, const QVariantMap& body, QVariantMap* reply) {
        code = session.request(operation, body, reply);
        if (code == ExitErrorReply)
            code = complainOf(session, *reply);
        return code == ExitOk;
    };
    Client::ItemReader reader(request, operation_, body_, options_.limit);
    long long found = 0;
    while ((options_.max < 0 || found < options_.max) && reader.next()) {
        if (!filter_.matches(reader.item()))
            continue;
        ++found;
        if (const int refused = takeItem(reader.item()))
            return refused;
    }
    if (printer_ != nullptr) {
        const int printed = printer_->end();
        return code != ExitOk ? code : printed;
    }
    return code != ExitOk || sink_ ? code : printEnd(found);
}

/** Completes the request, and reads the names of the keys where they are needed. Returns an exit code. */
int PagedRead::prepare(Session* session)
{
    std::vector<std::string> requested = options_.attributes;
    for (const QString& name : filter_.names()) {
        const bool isShown = std::find(requested.begin(), requested.end(), name.toStdString()) != requested.end();
        if (!options_.attributes.empty() && !isShown)
            hidden_.append(name);
    }
    for (const QString& name : hidden_)
        requested.push_back(name.toStdString());
    requestAttributes(requested, &body_);
    if (hidden_.isEmpty() && options_.form.isLines())
        return ExitOk;
    KeyNames keys;
    if (const int code = session->readKeys(table(), &keys))
        return code;
    hidden_.removeAll(keys.hash);
    hidden_.removeAll(keys.range);
    if (!options_.form.isLines())
        printer_ = options_.form.makePrinter(keys, options_.attributes);
    return ExitOk;
}

/** The server's reply to a read from a missing table is that of any other failure, so the table is checked. */
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

int PagedRead::takeItem(QVariantMap item) const
{
    if (!sink_ && options_.countOnly)
        return ExitOk;
    for (const QString& name : hidden_)
        item.remove(name);
    if (printer_ != nullptr)
        return printer_->print(item);
    const QByteArray line = Json::serialize(item);
    if (sink_)
        return sink_(item, line);
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
