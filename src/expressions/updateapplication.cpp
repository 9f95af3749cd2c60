#include "expressions/update.h"

#include "expressions/sets.h"

#include "items/itemsize.h"

#include <algorithm>

namespace Expressions {

namespace {

using Items::AttributeValue;

constexpr const char* MissingOperand = "The provided expression refers to an attribute that does not exist in the item";
constexpr const char* WrongOperandType = "An operand in the update expression has an incorrect data type";
constexpr const char* WrongTypeToUpdate = "Type mismatch for attribute to update";
constexpr const char* InvalidPath = "The document path provided in the update expression is invalid for update";
constexpr const char* TooLarge = "Item size to update has exceeded the maximum allowed size";
constexpr const char* TooDeep =
    "One or more parameter values were invalid: Nesting Levels have exceeded supported limits: "
    "Attributes in the item have nested levels beyond supported limit";

/** One update of one item. */
class Application {
public:
    Application(const Update& update, const Items::Item& before, std::string* error)
        : update_(update), before_(before), error_(error)
    {}

    bool computeValues();
    bool checkPaths();
    bool write(Items::Item* after);

private:
    struct NewValue {
        const Path* path;
        AttributeValue value;
    };

    bool fail(std::string message)
    {
        *error_ = std::move(message);
        return false;
    }
    bool failForType() { return fail(update_.isOlder ? WrongTypeToUpdate : WrongOperandType); }

    bool keep(const Path& path, AttributeValue value);
    bool compute(const SetValue& source, AttributeValue* value);
    bool computeSum(const SetValue& source, AttributeValue* value);
    bool computeList(const SetValue& source, AttributeValue* value);
    bool sum(const AttributeValue& a, const AttributeValue& b, bool isDifference, AttributeValue* value);
    bool computeAddition(const Update::Change& addition);
    bool computeDeletion(const Update::Change& deletion);

    const Update& update_;
    const Items::Item& before_;
    std::string* const error_;
    std::vector<NewValue> values_;
    std::vector<const Path*> removals_;
    std::size_t bytes_ = 0; // of values_, as the API counts them
};

/** Refuses values that alone make too large an item, so that a short update cannot fill the memory. */
bool Application::keep(const Path& path, AttributeValue value)
{
    bytes_ += Items::sizeOf(value);
    if (bytes_ > Items::MostItemBytes)
        return fail(TooLarge);
    values_.push_back({&path, std::move(value)});
    return true;
}

bool Application::compute(const SetValue& source, AttributeValue* value)
{
    switch (source.kind) {
    case SetValue::Kind::Value:
        *value = *source.value;
        return true;
    case SetValue::Kind::Path:
    case SetValue::Kind::IfNotExists:
        if (const AttributeValue* present = find(before_, *source.path)) {
            *value = *present;
            return true;
        }
        return source.kind == SetValue::Kind::Path ? fail(MissingOperand) : compute(source.operands.front(), value);
    case SetValue::Kind::ListAppend:
        return computeList(source, value);
    case SetValue::Kind::Plus:
    case SetValue::Kind::Minus:
        break;
    }
    return computeSum(source, value);
}

bool Application::computeSum(const SetValue& source, AttributeValue* value)
{
    AttributeValue first;
    AttributeValue second;
    return compute(source.operands[0], &first) && compute(source.operands[1], &second) &&
           sum(first, second, source.kind == SetValue::Kind::Minus, value);
}

bool Application::computeList(const SetValue& source, AttributeValue* value)
{
    AttributeValue second;
    if (!compute(source.operands[0], value) || !compute(source.operands[1], &second))
        return false;
    if (value->asList() == nullptr || second.asList() == nullptr)
        return failForType();
    value->asList()->insert(value->asList()->end(), second.asList()->begin(), second.asList()->end());
    return Items::sizeOf(*value) <= Items::MostItemBytes || fail(TooLarge);
}

bool Application::sum(const AttributeValue& a, const AttributeValue& b, bool isDifference, AttributeValue* value)
{
    if (a.asNumber() == nullptr || b.asNumber() == nullptr)
        return failForType();
    Decimal::Refusal why{};
    const auto result = isDifference ? Decimal::subtract(*a.asNumber(), *b.asNumber(), &why)
                                     : Decimal::add(*a.asNumber(), *b.asNumber(), &why);
    if (!result)
        return fail(Decimal::messageOf(why));
    *value = AttributeValue::ofNumber(*result);
    return true;
}

bool Application::computeAddition(const Update::Change& addition)
{
    const AttributeValue* present = find(before_, addition.path);
    AttributeValue value = present != nullptr ? *present : *addition.value;
    if (present != nullptr && addition.value->asNumber() != nullptr) {
        if (!sum(*present, *addition.value, false, &value))
            return false;
    } else if (present != nullptr && addition.value->asList() != nullptr && value.asList() != nullptr) {
        value.asList()->insert(value.asList()->end(), addition.value->asList()->begin(),
                               addition.value->asList()->end());
    } else if (present != nullptr && !changeSet(&value, *addition.value, false)) {
        return failForType();
    }
    return keep(addition.path, std::move(value));
}

bool Application::computeDeletion(const Update::Change& deletion)
{
    const AttributeValue* present = find(before_, deletion.path);
    if (present == nullptr)
        return true;
    AttributeValue value = *present;
    if (!changeSet(&value, *deletion.value, true))
        return failForType();
    if (!isEmptySet(value))
        return keep(deletion.path, std::move(value));
    removals_.push_back(&deletion.path);
    return true;
}

bool Application::computeValues()
{
    for (const Update::Assignment& assignment : update_.assignments) {
        AttributeValue value;
        if (!compute(assignment.value, &value) || !keep(assignment.path, std::move(value)))
            return false;
    }
    for (const Path& path : update_.removals) {
        if (find(before_, path) != nullptr)
            removals_.push_back(&path);
    }
    const auto add = [&](const Update::Change& addition) { return computeAddition(addition); };
    const auto take = [&](const Update::Change& deletion) { return computeDeletion(deletion); };
    return std::all_of(update_.additions.begin(), update_.additions.end(), add) &&
           std::all_of(update_.deletions.begin(), update_.deletions.end(), take);
}

bool Application::checkPaths()
{
    for (const Path* path : update_.paths()) {
        if (path->isNested() && findParent(before_, *path) == nullptr)
            return fail(InvalidPath);
    }
    return true;
}

/** Puts a value where its parent is known to be. An index beyond the end of a list appends. */
void assign(Items::Item* item, const Path& path, AttributeValue value)
{
    if (!path.isNested()) {
        (*item)[path.attribute()] = std::move(value);
        return;
    }
    AttributeValue* parent = findParent(*item, path);
    if (const auto* name = std::get_if<std::string>(&path.elements().back())) {
        (*parent->asMap())[*name] = std::move(value);
        return;
    }
    auto& list = *parent->asList();
    const std::size_t index = std::get<std::size_t>(path.elements().back());
    if (index < list.size())
        list[index] = std::move(value);
    else
        list.push_back(std::move(value));
}

void remove(Items::Item* item, const Path& path)
{
    if (!path.isNested()) {
        item->erase(path.attribute());
        return;
    }
    AttributeValue* parent = findParent(*item, path);
    if (const auto* name = std::get_if<std::string>(&path.elements().back())) {
        parent->asMap()->erase(*name);
        return;
    }
    const std::size_t index = std::get<std::size_t>(path.elements().back());
    parent->asList()->erase(parent->asList()->begin() + static_cast<std::ptrdiff_t>(index));
}

bool Application::write(Items::Item* after)
{
    // Ascending, so that of several values beyond the end of a list, the one with the lowest index is appended first.
    // Removals are last, and descending: until then every index is that of the item as it was.
    std::sort(values_.begin(), values_.end(), [](const NewValue& a, const NewValue& b) { return *a.path < *b.path; });
    std::sort(removals_.begin(), removals_.end(), [](const Path* a, const Path* b) { return *b < *a; });
    *after = before_;
    for (NewValue& value : values_)
        assign(after, *value.path, std::move(value.value));
    for (const Path* path : removals_)
        remove(after, *path);
    for (const NewValue& value : values_) {
        const auto attribute = after->find(value.path->attribute());
        if (attribute != after->end() && Items::levelsOf(attribute->second) > Items::MostLevels)
            return fail(TooDeep);
    }
    return true;
}

} // namespace

bool apply(const Update& update, const Items::Item& before, Items::Item* after, std::string* error)
{
    Application application(update, before, error);
    return application.computeValues() && application.checkPaths() && application.write(after);
}

} // namespace Expressions
