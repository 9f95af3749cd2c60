#include "quorva/pagereader.h"

#include "quorva/bodies.h"
#include "quorva/connection.h"
#include "json/jsonadapter.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace Quorva {

namespace {

constexpr int ServersLimit = 128; // when a request names none

/** The smallest key above all keys that begin with `prefix`; nothing when there is none. */
std::optional<QString> successorOf(QString prefix)
{
    constexpr char16_t LastLatin1 = 0xff; // above that there is no key
    while (!prefix.isEmpty()) {
        const char16_t last = prefix.back().unicode();
        if (last != LastLatin1) {
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
KeyCondition downFromTheLast()
{
    constexpr int LongerThanKeys = 1024;
    return KeyCondition::atMost(QString(LongerThanKeys, QChar(0xff)));
}

} // namespace

PagedRequest PagedRequest::query(const QString& table, const QString& hash, const QueryOptions& options)
{
    QueryOptions rewritten = options;
    rewritten.countOnly = false;
    rewritten.limit = 0;
    PagedRequest request{QStringLiteral("Query"), {}, options.limit};
    const QString comparison = options.range ? options.range->comparison() : QString();
    if (comparison == QLatin1StringView("BEGINS_WITH")) {
        // The start key of a second page would take the prefix's place. The keys with a prefix lie between it and the
        // first key above them all, so they are read from the one or the other on, until a key without it comes.
        request.prefix = options.range->keys().constFirst();
        const auto end = successorOf(request.prefix);
        if (!options.backward)
            rewritten.range = KeyCondition::atLeast(request.prefix);
        else
            rewritten.range = end ? KeyCondition::less(*end) : downFromTheLast();
    } else if (comparison == QLatin1StringView("EQ")) {
        request.onePage = true; // there is one such key at most, and it is where the page begins
    } else if (comparison.isEmpty() && options.backward) {
        rewritten.range = downFromTheLast();
    }
    request.body = queryBody(table, hash, rewritten);
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
    : connection_(connection), request_(std::move(request)),
      startKey_(request_.body.value(QStringLiteral("ExclusiveStartKey")).toMap()),
      limit_(request_.limit > 0 ? request_.limit : ServersLimit)
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
    QVariantMap body = request_.body;
    body.insert(QStringLiteral("Limit"), limit_);
    if (!startKey_.isEmpty())
        body.insert(QStringLiteral("ExclusiveStartKey"), startKey_);
    result_ = connection_->call(request_.operation, body);
    last_ = request_.onePage;
    items_.clear();
    next_ = 0;
    for (const Item& found : result_.items()) {
        if (!request_.prefix.isEmpty() && !text(found, rangeName_).startsWith(request_.prefix)) {
            last_ = true;
            return;
        }
        if (given_.isEmpty() || !given_.contains(Json::serialize(found)))
            items_.append(found);
    }
}

/** Decides how the page after the one under way is asked for, if there is one. */
void PageReader::prepareNextPage()
{
    const std::optional<Key> last = result_.lastKey();
    if (!last) {
        last_ = true;
        return;
    }
    const QVariantMap following = keyBody(*last);
    const bool isQuery = request_.operation == QLatin1StringView("Query");
    if (!(isQuery ? last->range : last->hash).isEmpty() && following != startKey_ && !goesBack(*last)) {
        startKey_ = following;
        limit_ = request_.limit > 0 ? request_.limit : ServersLimit;
        given_.clear();
        return;
    }
    for (const Item& given : std::as_const(items_))
        given_.insert(Json::serialize(given));
    limit_ = limit_ > std::numeric_limits<int>::max() / 2 ? std::numeric_limits<int>::max() : limit_ * 2;
}

/**
 * Whether a page ended in front of where it began. A query down whose start key was deleted meanwhile examines the next
 * greater key first, and with a small limit that may be its last. From there, items would come a second time.
 */
bool PageReader::goesBack(const Key& last) const
{
    if (startKey_.isEmpty())
        return false;
    const QString comparison = request_.body.value(QStringLiteral("RangeKeyCondition"))
                                   .toMap()
                                   .value(QStringLiteral("ComparisonOperator"))
                                   .toString();
    const bool down = comparison == QLatin1StringView("LE") || comparison == QLatin1StringView("LT");
    const QString start =
        startKey_.value(QStringLiteral("RangeKeyElement")).toMap().value(QStringLiteral("S")).toString();
    return down && last.range > start;
}

} // namespace Quorva
