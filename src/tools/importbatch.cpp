#include "tools/importbatch.h"

#include "protocol/bodies.h"
#include "tools/itemtext.h"
#include "tools/notation.h"
#include "tools/typedvalues.h"
#include "json/jsonreader.h"
#include "json/jsontext.h"
#include "json/jsonwriter.h"

namespace Ctl {

namespace {

// Beyond this, larger batches do not reduce the server's cost per item.
constexpr std::size_t MostItems = 250;
constexpr qsizetype MostBytes = 512 * 1024;

// How many levels deeper an item is nested in a request than on its line.
constexpr int LevelsAround = 5;

/** Whether the item on a line, which is JSON, would be nested too deep for the server inside a request. */
bool isNestedTooDeep(const QByteArray& line)
{
    if (line.count('{') + line.count('[') <= Json::MaxDepth - LevelsAround)
        return false;
    QVariant nested;
    return !Json::parse(QByteArray(LevelsAround, '[') + line + QByteArray(LevelsAround, ']'), &nested);
}

} // namespace

bool ImportBatch::hasRoomFor(qsizetype bytes) const
{
    return items_.empty() || (items_.size() < MostItems && bytes_ + bytes <= MostBytes);
}

bool ImportBatch::isFull() const
{
    return items_.size() == MostItems || bytes_ >= MostBytes;
}

void ImportBatch::add(long long line, const QByteArray& text, const ItemKey& key)
{
    items_.push_back({line, text});
    keys_.insert(key);
    bytes_ += text.size();
}

void ImportBatch::clear()
{
    items_.clear();
    keys_.clear();
    bytes_ = 0;
}

QByteArray ImportBatch::requestBody(const std::string& table, std::size_t first, std::size_t count) const
{
    QVariantList puts;
    for (std::size_t i = first; i < first + count; ++i)
        puts.append(Bodies::putRequest(QVariant::fromValue(Json::RawText{items_[i].text})));
    return Json::serialize(Bodies::batchWrite({{QString::fromStdString(table), puts}}));
}

std::string checkImportLine(const QByteArray& line, const KeyNames& keys, ItemKey* key)
{
    QVariantMap item;
    if (auto error = parseObject(line, "the line", &item); !error.empty())
        return error;
    if (auto error = checkItem(item, keys, line.size()); !error.empty())
        return error;
    if (auto error = checkBinary(item); !error.empty())
        return error;
    if (isNestedTooDeep(line))
        return "the item is nested too deeply";
    *key = {keyText(item, keys.hash), keyText(item, keys.range)};
    return {};
}

} // namespace Ctl
