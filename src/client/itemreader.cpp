#include "client/itemreader.h"

#include "client/rangecondition.h"
#include "protocol/bodies.h"
#include "json/jsonwriter.h"

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace Client {

ItemReader::ItemReader(Exchange exchange, const Operations::Operation& operation, const QVariantMap& body, int limit)
    : exchange_(std::move(exchange)), operation_(operation), pages_(operation, prepared(body), limit)
{}

/** Rewrites the body so that its pages can be resumed, and records where they end. */
QVariantMap ItemReader::prepared(QVariantMap body)
{
    countOnly_ = body.take(u"Count"_s).toBool();
    if (operation_ != Operations::Query)
        return body;
    const bool down = !body.value(u"ScanIndexForward"_s, true).toBool();
    if (const std::optional<QString> prefix = replaceBeginsWith(&body, down)) {
        if (down)
            prefix_ = *prefix;
        return body;
    }
    const QVariantMap condition = body.value(u"RangeKeyCondition"_s).toMap();
    onePage_ = condition.value(u"ComparisonOperator"_s).toString() == Bodies::Comparison::Equal;
    if (condition.isEmpty() && down)
        Bodies::setRangeCondition(allKeysDown(), &body);
    return body;
}

bool ItemReader::next()
{
    while (next_ == items_.size()) {
        if (failed_ || !readNextPage())
            return false;
    }
    item_ = items_.at(next_++).toMap();
    return true;
}

bool ItemReader::readFirstPage(QVariantMap* reply)
{
    started_ = true;
    if (!readRangeName())
        return false;
    do {
        QVariantMap body = pages_.body();
        if (countOnly_ && prefix_.isEmpty()) // with a prefix, the page's items are needed to find its end
            Bodies::setCountOnly(&body);
        if (!readPage(body))
            return false;
    } while (reply_.value(u"Count"_s).toInt() == 0 && pages_.advance(reply_) == Paging::Next::SamePage);
    *reply = reply_;
    if (countOnly_)
        reply->remove(u"Items"_s);
    return true;
}

/** Also false after the last page. */
bool ItemReader::readNextPage()
{
    if (!std::exchange(started_, true))
        return readRangeName() && readPage(pages_.body());
    switch (pages_.advance(reply_)) {
    case Paging::Next::End:
        return false;
    case Paging::Next::Page:
        given_.clear();
        break;
    case Paging::Next::SamePage:
        for (const QVariant& one : std::as_const(items_))
            ++given_[Json::serialize(one)];
        break;
    }
    return readPage(pages_.body());
}

bool ItemReader::readPage(const QVariantMap& body)
{
    if (!exchange(operation_, body, &reply_))
        return false;
    cutBehindTheLastItem();
    items_ = reply_.value(u"Items"_s).toList();
    next_ = 0;
    if (given_.isEmpty())
        return true;
    QHash<QByteArray, int> before = given_;
    items_.removeIf([&](const QVariant& item) { return before[Json::serialize(item)]-- > 0; });
    return true;
}

/** Only the table's description says which attribute of an item is the range key. */
bool ItemReader::readRangeName()
{
    if (prefix_.isEmpty())
        return true;
    QVariantMap reply;
    const QString table = pages_.body().value(u"TableName"_s).toString();
    if (!exchange(Operations::DescribeTable, Bodies::table(table), &reply))
        return false;
    rangeName_ = Bodies::keyNames(reply.value(u"Table"_s).toMap()).range;
    return true;
}

void ItemReader::cutBehindTheLastItem()
{
    if (onePage_)
        reply_.remove(u"LastEvaluatedKey"_s);
    if (prefix_.isEmpty())
        return;
    QVariantList items = reply_.value(u"Items"_s).toList();
    const auto end = std::find_if_not(items.cbegin(), items.cend(), [&](const QVariant& item) {
        return item.toMap().value(rangeName_).toMap().value(u"S"_s).toString().startsWith(prefix_);
    });
    if (end == items.cend())
        return;
    items.erase(end, items.cend());
    reply_.insert(u"Count"_s, qlonglong{items.size()});
    reply_.insert(u"Items"_s, items);
    reply_.remove(u"LastEvaluatedKey"_s);
}

bool ItemReader::exchange(const Operations::Operation& operation, const QVariantMap& body, QVariantMap* reply)
{
    failed_ = !exchange_(operation, body, reply);
    return !failed_;
}

} // namespace Client
