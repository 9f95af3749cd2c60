#include "expressions/sets.h"

namespace Expressions {

namespace {

/** Adds the elements of a set to one of the same type, or removes them. False if they are not sets of one type. */
template <typename Set> bool changeElements(Set* set, const Set* elements, bool isDeletion)
{
    if (set == nullptr || elements == nullptr)
        return false;
    for (const auto& element : *elements) {
        if (isDeletion)
            set->erase(element);
        else
            set->insert(element);
    }
    return true;
}

} // namespace

bool isSet(Items::AttributeValue::Type type)
{
    using Type = Items::AttributeValue::Type;
    return type == Type::StringSet || type == Type::NumberSet || type == Type::BinarySet;
}

bool changeSet(Items::AttributeValue* value, const Items::AttributeValue& elements, bool isDeletion)
{
    return changeElements(value->asStringSet(), elements.asStringSet(), isDeletion) ||
           changeElements(value->asNumberSet(), elements.asNumberSet(), isDeletion) ||
           changeElements(value->asBinarySet(), elements.asBinarySet(), isDeletion);
}

bool isEmptySet(const Items::AttributeValue& value)
{
    return (value.asStringSet() != nullptr && value.asStringSet()->empty()) ||
           (value.asNumberSet() != nullptr && value.asNumberSet()->empty()) ||
           (value.asBinarySet() != nullptr && value.asBinarySet()->empty());
}

} // namespace Expressions
