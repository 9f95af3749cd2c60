#include "api/capacity.h"
#include "api/itemio.h"
#include "api/itemoperations.h"
#include "api/itemstore.h"
#include "api/itemwrite.h"
#include "api/members.h"
#include "api/returnvalues.h"
#include "api/storedkeys.h"
#include "api/tablecatalog.h"
#include "api/writecondition.h"
#include "expressions/update.h"
#include "items/itemsize.h"

#include <algorithm>
#include <set>
#include <utility>

namespace Api {

namespace {

using Items::Item;

/** An update of one item, and its result. */
class ItemUpdate {
public:
    ItemUpdate(const Table& table, Item key, Expressions::Update update, WriteCondition condition)
        : table_(table), key_(std::move(key)), update_(std::move(update)), condition_(std::move(condition))
    {}

    /** Fails for an update of key attributes. */
    Failure check() const
    {
        std::set<std::string, std::less<>> names{table_.hash.name};
        if (table_.range)
            names.insert(table_.range->name);
        const std::string error = Expressions::keyUpdateError(update_, names);
        return error.empty() ? Failure() : Errors::validation(error);
    }

    Failure compute(const Item* before, ItemChange* change)
    {
        if (Failure failure = condition_.check(before))
            return failure;
        before_.reset();
        if (before != nullptr)
            before_ = *before;
        if (before == nullptr && onlyRemoves()) {
            after_.clear();
            change->action = ItemChange::Action::Keep;
            return std::nullopt;
        }
        std::string error;
        if (!Expressions::apply(update_, before_ ? *before_ : key_, &after_, &error))
            return Errors::validation(error);
        if (Items::sizeOfItem(after_) > Items::MostItemBytes)
            return Errors::validation("Item size to update has exceeded the maximum allowed size");
        *change = {ItemChange::Action::Put, after_};
        return std::nullopt;
    }

    /** What "ReturnValues" asks for; empty if there is nothing. */
    Item returned(ReturnValues values) const
    {
        switch (values) {
        case ReturnValues::AllOld:
            return before_.value_or(Item());
        case ReturnValues::UpdatedOld:
            return before_ ? Expressions::placesOf(update_).partsOf(*before_) : Item();
        case ReturnValues::AllNew:
            return after_;
        case ReturnValues::UpdatedNew:
            return Expressions::placesOf(update_).partsOf(after_);
        case ReturnValues::None:
            break;
        }
        return {};
    }

    std::size_t writtenBytes() const
    {
        return std::max(Items::sizeOfItem(after_), before_ ? Items::sizeOfItem(*before_) : 0);
    }

private:
    /** Older parameters that only delete attributes do not create an item; an expression does. */
    bool onlyRemoves() const
    {
        return update_.isOlder && update_.assignments.empty() && update_.additions.empty() &&
               !(update_.removals.empty() && update_.deletions.empty());
    }

    const Table& table_;
    const Item key_;
    const Expressions::Update update_;
    const WriteCondition condition_;
    std::optional<Item> before_; // of the last computation, like after_
    Item after_;
};

} // namespace

Failure updateItem(const Items::JsonValue& request, Context& context, JsonWriter* reply)
{
    Expressions::Parameters parameters;
    if (Failure failure = readParameters(Expressions::RequestKind::Update, request, &parameters))
        return failure;
    Item keyAttributes;
    if (Failure failure = readItem(*member(request, "Key"), &keyAttributes))
        return failure;
    std::shared_ptr<const Table> table;
    if (Failure failure = context.tables.find(textIn(request, "TableName"), &table))
        return failure;
    StoredKey key;
    if (Failure failure = ItemKeys::ofKey(*table, keyAttributes, &key))
        return failure;
    Expressions::Update update = parameters.update.value_or(Expressions::Update());
    ItemUpdate change(*table, std::move(keyAttributes), std::move(update),
                      WriteCondition(std::move(parameters), request));
    if (Failure failure = change.check())
        return failure;

    const auto compute = [&](const Item* before, ItemChange* made) { return change.compute(before, made); };
    if (Failure failure = ItemStore(context, table).change(key, ItemStore::FirstGuess::Read, compute))
        return failure;
    const Item returned = change.returned(returnValuesOf(request));
    const std::size_t bytes = Capacity::isWanted(request) ? change.writtenBytes() : 0;
    writeItemReply(request, *table, returned.empty() ? nullptr : &returned, bytes, reply);
    return std::nullopt;
}

} // namespace Api
