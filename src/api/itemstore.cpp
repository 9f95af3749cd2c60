#include "api/itemstore.h"

#include "api/backoff.h"
#include "api/directoryroom.h"
#include "api/itemgates.h"
#include "api/itemrequests.h"
#include "api/members.h"
#include "api/storedkeys.h"
#include "api/tablecatalog.h"
#include "items/itemjson.h"
#include "items/itemsize.h"
#include "items/storeditem.h"
#include "protocol/envelope.h"

#include <array>
#include <string_view>
#include <utility>
#include <vector>

namespace Api {

namespace {

using Items::Item;

constexpr std::chrono::seconds ChangePatience{5};
constexpr int MismatchesBeforePause = 4;
// While the server closes a directory, which takes longer if a long request is running in it.
constexpr std::chrono::milliseconds TablePatience{300}; // before asking whether the table exists
constexpr std::chrono::seconds ClosingPatience{5};

/** Shared by everything in the process that reads, computes and commits. */
ItemGates& gates()
{
    static ItemGates all;
    return all;
}

std::string jsonOf(const Items::JsonValue& json)
{
    Items::JsonText text;
    JsonWriter writer(text);
    json.Accept(writer);
    return {text.GetString(), text.GetSize()};
}

/** The element of a Commit's reply that has the actual item; null if there is none. */
const Items::JsonValue* firstMismatch(const Items::JsonValue& reply)
{
    const Items::JsonValue* const all = member(reply, "Mismatches");
    return all != nullptr && all->IsArray() && !all->Empty() ? &(*all)[0] : nullptr;
}

/** Whether a reply is that of a request which the server has carried out. */
bool isFinal(const ServerReply& reply)
{
    return reply.isSuccess() || reply.isError(ErrorTypes::ConditionalCheckFailed);
}

} // namespace

/** An item as it was read. */
struct ItemStore::Snapshot {
    std::optional<Item> item;
    std::optional<std::string> text; // as the server sent it; empty if there is no item
};

ItemStore::ItemStore(const Context& context, std::shared_ptr<const Table> table)
    : server_(context.server), tables_(context.tables), table_(std::move(table))
{}

Failure ItemStore::get(const StoredKey& key, std::optional<Item>* item) const
{
    ServerReply reply;
    if (Failure failure = send(::Operations::GetItem, ItemRequests::byKey(*table_, key), &reply))
        return failure;
    return readReply(reply, key, item);
}

Failure ItemStore::readReply(const ServerReply& reply, const StoredKey& key, std::optional<Item>* item) const
{
    item->reset();
    const Items::JsonValue* const stored = member(reply.body(), "Item");
    return stored != nullptr ? read(*stored, key, &item->emplace()) : std::nullopt;
}

std::size_t ItemStore::sizeOfOld(const ServerReply& reply, const StoredKey& key) const
{
    const Items::JsonValue* const old = member(reply.body(), "Attributes");
    Item item;
    if (old == nullptr || !old->IsObject() || old->ObjectEmpty() || read(*old, key, &item))
        return 0;
    return Items::sizeOfItem(item);
}

Error ItemStore::tooLarge()
{
    return Errors::validation("Item size has exceeded the maximum allowed size");
}

Failure ItemStore::change(const StoredKey& key, FirstGuess guess, const Compute& compute) const
{
    BackOff backOff(ChangePatience);
    const ItemGates::Gate gate = gates().enter(table_->name.real, key, backOff.deadline());
    return gate.owns_lock() ? changeGuarded(key, guess, compute, &backOff) : Errors::transactionConflict();
}

Failure ItemStore::changeGuarded(const StoredKey& key, FirstGuess guess, const Compute& compute, BackOff* backOff) const
{
    Snapshot before;
    bool isKnown = guess == FirstGuess::NoItem; // guessed, or sent by the server
    bool isGuess = isKnown;
    for (int mismatches = 0;;) {
        if (!isKnown) {
            if (Failure failure = snapshot(key, &before))
                return failure;
            isGuess = false;
        }
        ItemChange computed;
        if (Failure failure = compute(before.item ? &*before.item : nullptr, &computed)) {
            if (!std::exchange(isGuess, false))
                return failure;
            isKnown = false;
            continue;
        }
        if (computed.action == ItemChange::Action::Keep && !isGuess)
            return std::nullopt;
        ServerReply reply;
        if (Failure failure = commit(key, before, computed, &reply))
            return failure;
        if (reply.isSuccess())
            return std::nullopt;
        // The reply has the latest item, so there is no need to wait, unless that has happened several times in a row.
        isGuess = false;
        isKnown = ++mismatches % MismatchesBeforePause != 0;
        if (!isKnown && !backOff->pause())
            return Errors::transactionConflict();
        const Items::JsonValue* const mismatch = firstMismatch(reply.body());
        if (mismatch == nullptr)
            return Errors::internal("The server's reply is not understood; nothing was written");
        if (Failure failure = snapshotOf(member(*mismatch, "Item"), key, &before))
            return failure;
    }
}

Failure ItemStore::snapshot(const StoredKey& key, Snapshot* found) const
{
    ServerReply reply;
    if (Failure failure = send(::Operations::GetItem, ItemRequests::byKey(*table_, key), &reply))
        return failure;
    return snapshotOf(member(reply.body(), "Item"), key, found);
}

Failure ItemStore::snapshotOf(const Items::JsonValue* stored, const StoredKey& key, Snapshot* found) const
{
    found->item.reset();
    found->text.reset();
    if (stored == nullptr)
        return std::nullopt;
    found->text = jsonOf(*stored);
    return read(*stored, key, &found->item.emplace());
}

/** Keep, computed from a guess, only has the guess checked: by deleting the item that is not supposed to exist. */
Failure ItemStore::commit(const StoredKey& key, const Snapshot& before, const ItemChange& change,
                          ServerReply* reply) const
{
    ItemRequests::Entry entry{table_.get(), &key, before.text, std::nullopt};
    if (change.action == ItemChange::Action::Put) {
        entry.put = ItemRequests::storedText(*table_, change.item);
        if (!entry.put)
            return tooLarge();
    }
    std::vector<ItemRequests::Entry> entries;
    entries.push_back(std::move(entry));
    return send(::Operations::Commit, ItemRequests::commit(entries), reply);
}

Failure ItemStore::send(const ::Operations::Operation& operation, const std::string& body, ServerReply* reply) const
{
    if (Failure failure = server_.send(operation, body, reply))
        return failure;
    return settle(operation, body, reply);
}

Failure ItemStore::settle(const ::Operations::Operation& operation, const std::string& body, ServerReply* reply) const
{
    if (isFinal(*reply))
        return std::nullopt;
    const auto deadline = BackOff::Clock::now() + ClosingPatience;
    std::optional<BackOff> backOff(TablePatience);
    // Also the reply while another request makes the server close the table's directory.
    while (reply->isError(ErrorTypes::ResourceNotFound)) {
        tables_.forget(table_->name);
        if (!backOff->pause()) {
            if (isGone() || BackOff::Clock::now() >= deadline)
                break;
            backOff.emplace(TablePatience);
        }
        if (Failure failure = server_.send(operation, body, reply))
            return failure;
        if (isFinal(*reply))
            return std::nullopt;
    }
    if (reply->isError(ErrorTypes::InternalServerError) && isGone())
        return Errors::resourceNotFound();
    return DirectoryRoom::failureOf(server_, *reply, table_->name.real);
}

/** Whether the table has been removed, which the server's Query and Scan report as an internal error. */
bool ItemStore::isGone() const
{
    tables_.forget(table_->name);
    std::shared_ptr<const Table> present;
    const Failure failure = tables_.find(table_->name.real, &present);
    return failure && failure->type == Errors::resourceNotFound().type;
}

/** It says what a program needs to continue after the item, and what its operator needs to delete it. */
Failure ItemStore::unreadable(const StoredKey& key, const std::string& why) const
{
    Item keys;
    if (Failure failure = ItemKeys::addTo(&keys, *table_, key))
        return failure;
    return Errors::validation(
        "The table " + table_->name.shown + " has an item that this API cannot show: " + why + ". Its key is " +
        Items::jsonOf(keys) +
        ", to be used as ExclusiveStartKey or to replace or delete it; or: " + ItemKeys::deletion(*table_, key));
}

Failure ItemStore::read(const Items::JsonValue& stored, const StoredKey& key, Item* item) const
{
    const std::array<std::string_view, 2> keyNames{table_->hash.name, table_->serverRangeName};
    std::string why;
    if (!Items::StoredItem::read(stored, keyNames, item, &why))
        return unreadable(key, why);
    return ItemKeys::addTo(item, *table_, key);
}

} // namespace Api
