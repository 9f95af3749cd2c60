#include "quorva/pagereader.h"

#include "quorva/bodies.h"
#include "quorva/connection.h"
#include "json/jsonadapter.h"

#include <optional>
#include <utility>

namespace Quorva {

PagedRequest PagedRequest::query(const QString& table, const QString& hash, const QueryOptions& options)
{
    QueryOptions rewritten = options;
    rewritten.countOnly = false;
    rewritten.limit = 0;
    PagedRequest request{QStringLiteral("Query"), {}, options.limit};
    const QString comparison = options.range ? options.range->comparison() : QString();
    QVariantMap condition;
    if (comparison == QLatin1StringView("BEGINS_WITH")) {
        const QString prefix = options.range->keys().constFirst();
        condition = Client::keysWithPrefix(prefix, options.backward);
        if (options.backward)
            request.prefix = prefix;
        rewritten.range = std::nullopt;
        // The server begins at the start key, wherever it is: in front of all that has the prefix, it is of no use.
        if (options.startKey && !options.startKey->range.startsWith(prefix) &&
            (options.startKey->range < prefix) != options.backward)
            rewritten.startKey = std::nullopt;
    } else if (comparison == QLatin1StringView("EQ")) {
        request.onePage = true; // there is one such key at most, and it is where the page begins
    } else if (comparison.isEmpty() && options.backward) {
        condition = Client::allKeysDown();
    }
    request.body = queryBody(table, hash, rewritten);
    if (!condition.isEmpty())
        request.body.insert(QStringLiteral("RangeKeyCondition"), condition);
    return request;
}

PagedRequest PagedRequest::scan(const QString& table, const ScanOptions& options)
{
    ScanOptions rewritten = options;
    rewritten.countOnly = false;
    rewritten.limit = 0;
    return {QStringLiteral("Scan"), scanBody(table, rewritten), options.limit};
}

PageReader::PageReader(Connection* connection, PagedRequest request)
    : connection_(connection), request_(std::move(request)), pages_(request_.operation, request_.body, request_.limit)
{}

void PageReader::start()
{
    if (std::exchange(started_, true))
        return;
    if (!request_.prefix.isEmpty()) {
        result_ = connection_->describeTable(request_.body.value(QStringLiteral("TableName")).toString());
        if (!result_)
            return;
        const QVariantMap keys = result_.table().value(QStringLiteral("KeySchema")).toMap();
        rangeName_ =
            keys.value(QStringLiteral("RangeKeyElement")).toMap().value(QStringLiteral("AttributeName")).toString();
    }
    fetch();
    fetchUntilSomething();
}

void PageReader::advance()
{
    ++next_;
    fetchUntilSomething();
}

/** Goes on to the first page that has something that was not given yet, or to the end. */
void PageReader::fetchUntilSomething()
{
    while (atEnd() && !last_ && result_) {
        prepareNextPage();
        if (!last_)
            fetch();
    }
}

void PageReader::fetch()
{
    result_ = connection_->call(request_.operation, pages_.body());
    last_ = request_.onePage;
    items_.clear();
    next_ = 0;
    QHash<QByteArray, int> before = given_;
    for (const Item& found : result_.items()) {
        if (!request_.prefix.isEmpty() && !text(found, rangeName_).startsWith(request_.prefix)) {
            last_ = true;
            return;
        }
        if (given_.isEmpty() || before[Json::serialize(found)]-- <= 0)
            items_.append(found);
    }
}

/** Decides how the page after the one under way is asked for, if there is one. */
void PageReader::prepareNextPage()
{
    switch (pages_.advance(result_.reply())) {
    case Client::Paging::Next::End:
        last_ = true;
        break;
    case Client::Paging::Next::Page:
        given_.clear();
        break;
    case Client::Paging::Next::SamePage:
        for (const Item& given : std::as_const(items_))
            ++given_[Json::serialize(given)];
        break;
    }
}

} // namespace Quorva
