#include "api/itemwalk.h"

#include "api/itemrequests.h"
#include "api/members.h"
#include "api/storedkeys.h"
#include "items/keycodec.h"
#include "protocol/limits.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace Api {

namespace {

constexpr std::size_t PageBytes = 1024 * 1024; // the size of a page of the API, so that most pages take two requests
constexpr std::size_t MostPageItems = 1024;

/** Reads a key attribute of a record. False if it is not {"S": text}, with the characters of bytes. */
bool readKey(const Items::JsonValue& record, const std::string& name, std::string* bytes)
{
    const Items::JsonValue* const value = record.IsObject() ? member(record, name) : nullptr;
    const Items::JsonValue* const text = value != nullptr && value->IsObject() ? member(*value, "S") : nullptr;
    if (text == nullptr || !text->IsString())
        return false;
    auto decoded = Items::KeyCodec::bytesOfJsonText(textOf(*text));
    if (!decoded)
        return false;
    *bytes = std::move(*decoded);
    return true;
}

} // namespace

ItemWalk::ItemWalk(const ItemStore* store, KeyRange range, bool forward, std::optional<std::size_t> most)
    : store_(*store), range_(std::move(range)), isForward_(forward),
      left_(most.value_or(std::numeric_limits<std::size_t>::max())), isAtEnd_(range_->isEmpty())
{}

ItemWalk::ItemWalk(const ItemStore* store, std::optional<StoredKey> after, std::optional<std::size_t> most)
    : store_(*store), after_(std::move(after)), left_(most.value_or(std::numeric_limits<std::size_t>::max()))
{}

Failure ItemWalk::next()
{
    while (!isAtEnd_) {
        if (records_ == nullptr || index_ == records_->Size()) {
            isAtEnd_ = isLastPage_;
            if (isAtEnd_)
                break;
            if (Failure failure = readPage())
                return failure;
            continue;
        }
        const Items::JsonValue& record = (*records_)[index_++];
        StoredKey key;
        if (Failure failure = readKeys(record, &key))
            return failure;
        const bool isInside = !range_ || range_->contains(key.range);
        isAtEnd_ = !isInside && range_->isPast(key.range, isForward_);
        continueAfter(key);
        if (!isInside)
            continue;
        left_ -= left_ > 0 ? 1 : 0;
        return store_.read(record, key, &item_);
    }
    return std::nullopt;
}

Failure ItemWalk::readPage()
{
    const bool isScan = !range_;
    const std::string request = pageRequest();
    records_ = nullptr;
    index_ = 0;
    if (Failure failure = store_.send(isScan ? ::Operations::Scan : ::Operations::Query, request, &page_))
        return failure;
    records_ = member(page_.body(), "Items");
    if (records_ == nullptr || !records_->IsArray())
        return Errors::internal("The server's reply is not understood");
    isLastPage_ = !hasMember(page_.body(), "LastEvaluatedKey");
    if (!isLastPage_ && records_->Empty())
        return Errors::internal("The server's page has no items"); // otherwise it would be requested again and again
    if (!records_->Empty())
        itemBytes_ = page_.bytes() / records_->Size();
    return std::nullopt;
}

std::string ItemWalk::pageRequest()
{
    if (!range_)
        return ItemRequests::scan(store_.table(), after_, pageLimit());
    const int before = range_->hasRecordBefore(isForward_) ? 1 : 0;
    return ItemRequests::query(store_.table(), *range_, isForward_, pageLimit() + before);
}

int ItemWalk::pageLimit() const
{
    const std::size_t fitting =
        itemBytes_ == 0 ? Limits::PageItems : std::clamp<std::size_t>(PageBytes / itemBytes_, 1, MostPageItems);
    return static_cast<int>(std::clamp<std::size_t>(left_, 1, fitting));
}

Failure ItemWalk::readKeys(const Items::JsonValue& record, StoredKey* key) const
{
    const Table& table = store_.table();
    if (!readKey(record, table.hash.name, &key->hash) || !readKey(record, table.serverRangeName, &key->range))
        return Errors::internal("The server's reply is not understood");
    if (key->hash.empty()) // the server cannot continue a scan after it
        return ItemKeys::notOfThisApi(table, *key);
    return std::nullopt;
}

void ItemWalk::continueAfter(const StoredKey& key)
{
    if (range_)
        range_ = range_->after(key.range, isForward_);
    else
        after_ = key;
}

} // namespace Api
