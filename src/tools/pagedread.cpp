#include "tools/pagedread.h"

#include "json/jsonadapter.h"

#include <algorithm>
#include <cstdio>
#include <limits>

namespace Ctl {

void PageOptions::declare(CLI::App* command)
{
    command->add_option("--limit", limit, "Records that the server examines for one page")
        ->check(CLI::Range(1, std::numeric_limits<int>::max()))
        ->capture_default_str();
    auto* maxOption = command->add_option("--max", max, "Stop after this many items")->check(CLI::NonNegativeNumber);
    command->add_flag("--count", countOnly, "Print the number of items instead of the items")->excludes(maxOption);
    command->add_option("--attributes", attributes, "Print only these attributes and the keys: A,B,...")
        ->delimiter(',');
}

PagedRead::PagedRead(const PageOptions& options, QByteArray operation, QVariantMap body,
                     std::function<bool(const QVariantMap&)> belongs)
    : options_(options), operation_(std::move(operation)), body_(std::move(body)), belongs_(std::move(belongs))
{}

int PagedRead::run(const ServerAddress& server)
{
    Client::Connection connection;
    if (!connection.open(QString::fromStdString(server.host), server.port)) {
        complainNoReply(server, connection);
        return ExitNoReply;
    }
    QVariantMap start;
    int limit = options_.limit;
    for (Next next = Next::Page; next != Next::End && !complete(); next = advance(&start, &limit)) {
        if (next == Next::Page)
            printed_.clear();
        int failure = ExitOk;
        if (!readPage(server, connection, start, limit, &failure))
            return failure;
        printItems();
    }
    if (options_.countOnly)
        std::printf("%lld\n", found_);
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        complain("cannot write standard output");
        return ExitNoReply;
    }
    return ExitOk;
}

bool PagedRead::readPage(const ServerAddress& server, Client::Connection& connection, const QVariantMap& start,
                         int limit, int* failure)
{
    QVariantMap body = body_;
    body.insert("Limit", limit);
    if (!start.isEmpty())
        body.insert("ExclusiveStartKey", start);
    if (!options_.attributes.empty()) {
        QVariantList names;
        for (const std::string& name : options_.attributes)
            names.append(QString::fromStdString(name));
        body.insert("AttributesToGet", names);
    }
    QByteArray text;
    if (!connection.exchange(Client::fullOperationName(operation_), Json::serialize(body), &text)) {
        complainNoReply(server, connection);
        *failure = ExitNoReply;
        return false;
    }
    if (!isSuccess(text)) {
        complain(text.toStdString());
        *failure = ExitErrorReply;
        return false;
    }
    QVariant reply;
    (void)Json::parse(text, &reply); // it is a success, so it parses
    reply_ = reply.toMap();
    return true;
}

void PagedRead::printItems()
{
    const QVariantList items = reply_.value("Items").toList();
    for (const QVariant& item : items) {
        if (complete())
            return;
        ended_ = belongs_ && !belongs_(item.toMap());
        const QByteArray line = Json::serialize(item);
        if (ended_ || printed_.contains(line))
            continue;
        printed_.insert(line);
        ++found_;
        if (!options_.countOnly)
            std::printf("%s\n", line.constData());
    }
}

PagedRead::Next PagedRead::advance(QVariantMap* start, int* limit) const
{
    const QVariantMap last = reply_.value("LastEvaluatedKey").toMap();
    if (last.isEmpty())
        return Next::End;
    const QString hash = last.value("HashKeyElement").toString();
    const QString range = last.value("RangeKeyElement").toString();
    const QVariantMap following{{"HashKeyElement", QVariantMap{{"S", hash}}},
                                {"RangeKeyElement", QVariantMap{{"S", range}}}};
    const bool query = operation_ == "Query";
    const bool usable = !(query ? range : hash).isEmpty() && following != *start;
    if (!usable) {
        *limit = *limit > std::numeric_limits<int>::max() / 2 ? std::numeric_limits<int>::max() : *limit * 2;
        return Next::SamePage;
    }
    *start = following;
    *limit = options_.limit;
    return Next::Page;
}

} // namespace Ctl
