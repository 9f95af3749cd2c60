#include "tools/pagedread.h"

#include "tools/arguments.h"
#include "tools/exitcode.h"
#include "tools/messages.h"
#include "tools/replies.h"
#include "json/jsonadapter.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdio>

namespace Ctl {

void PageOptions::declare(CLI::App* command)
{
    addLimitOption(command, &limit);
    auto* maxOption = command->add_option("--max", max, "Stop after this many items")->check(wholeNumber(0, "items"));
    command->add_flag("--count", countOnly, "Print the number of items instead of the items")->excludes(maxOption);
    addAttributesOption(command, &attributes);
}

PagedRead::PagedRead(const PageOptions& options, QByteArray operation, QVariantMap body,
                     std::function<bool(const QVariantMap&)> belongs)
    : options_(options), operation_(std::move(operation)), body_(std::move(body)), belongs_(std::move(belongs))
{
    if (options_.attributes.empty())
        return;
    QVariantList names;
    for (const std::string& name : options_.attributes)
        names.append(QString::fromStdString(name));
    body_.insert("AttributesToGet", names);
}

int PagedRead::run(const ServerAddress& server)
{
    if (const int code = checkTableName(table()))
        return code;
    Session session(server);
    using Next = Client::Paging::Next;
    Client::Paging pages(QString::fromLatin1(operation_), body_, options_.limit);
    for (Next next = Next::Page; next != Next::End && !complete(); next = pages.advance(reply_)) {
        if (next == Next::Page)
            taken_.clear();
        if (const int code = readPage(session, pages.body()))
            return code;
        if (const int code = takeItems(next == Next::SamePage))
            return code;
    }
    if (sink_)
        return ExitOk;
    if (options_.countOnly)
        std::printf("%lld\n", found_);
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        complain("cannot write standard output");
        return ExitNoReply;
    }
    return ExitOk;
}

int PagedRead::readPage(Session& session, const QVariantMap& body)
{
    const int code = session.request(operation_, body, &reply_);
    return code == ExitErrorReply ? complainOf(session, reply_) : code;
}

/** A read of a table that is not there is answered like any other failure, so the table is looked at. */
int PagedRead::complainOf(Session& session, const QVariantMap& reply) const
{
    QVariantMap description;
    const int described = session.request("DescribeTable", {{"TableName", body_.value("TableName")}}, &description);
    if (described == ExitNoReply)
        return described;
    if (described == ExitErrorReply && isNotFound(description))
        return session.complainNotFound(table(), description);
    complainReply("cannot read the table " + table(), reply);
    return ExitErrorReply;
}

/** `again`: the page was read before, and what was taken then is left out. */
int PagedRead::takeItems(bool again)
{
    QHash<QByteArray, int> before = again ? taken_ : QHash<QByteArray, int>();
    const QVariantList items = reply_.value("Items").toList();
    for (const QVariant& item : items) {
        if (complete())
            return ExitOk;
        ended_ = belongs_ && !belongs_(item.toMap());
        const QByteArray line = Json::serialize(item);
        if (ended_ || (again && before[line]-- > 0))
            continue;
        ++taken_[line];
        ++found_;
        if (sink_) {
            if (const int code = sink_(line))
                return code;
        } else if (!options_.countOnly) {
            std::printf("%s\n", line.constData());
        }
    }
    return ExitOk;
}

} // namespace Ctl
