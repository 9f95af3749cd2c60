#include "api/keyrange.h"

#include "protocol/bodies.h"
#include "protocol/limits.h"

#include <algorithm>

namespace Api {

namespace {

constexpr char LastByte = '\xff';

} // namespace

bool KeyRange::isBelow(std::string_view key) const
{
    return low_ && (key < low_->key || (!low_->isInclusive && key == low_->key));
}

bool KeyRange::isAbove(std::string_view key) const
{
    return high_ && (key > high_->key || (!high_->isInclusive && key == high_->key));
}

bool KeyRange::isEmpty() const
{
    if (high_ && high_->key.empty() && !high_->isInclusive)
        return true;
    return low_ && high_ && (isBelow(high_->key) || isAbove(low_->key));
}

KeyRange KeyRange::after(const std::string& key, bool forward) const
{
    KeyRange rest = *this;
    (forward ? rest.low_ : rest.high_) = KeyBound{key, false};
    return rest;
}

std::optional<RangeCondition> KeyRange::condition(bool forward) const
{
    return forward ? conditionUp() : conditionDown();
}

std::optional<RangeCondition> KeyRange::conditionUp() const
{
    if (high_)
        return RangeCondition{Bodies::Comparison::Between, {low_ ? low_->key : std::string(), high_->key}};
    if (!low_)
        return std::nullopt;
    return RangeCondition{low_->isInclusive ? Bodies::Comparison::AtLeast : Bodies::Comparison::Greater, {low_->key}};
}

/** The server walks downward only for LE and LT, from their bound. It takes an empty bound for the byte 255. */
RangeCondition KeyRange::conditionDown() const
{
    if (!high_) {
        const std::size_t room = Limits::KeyCharacters - std::min<std::size_t>(hash_.size(), Limits::KeyCharacters - 1);
        return {Bodies::Comparison::AtMost, {std::string(room, LastByte)}};
    }
    if (high_->key.empty())
        return {Bodies::Comparison::Equal, {high_->key}};
    return {high_->isInclusive ? Bodies::Comparison::AtMost : Bodies::Comparison::Less, {high_->key}};
}

bool KeyRange::hasRecordBefore(bool forward) const
{
    // Downward, the server seeks the bound; if there is no such key, it finds the next greater one.
    return forward ? low_ && !low_->isInclusive : high_.has_value();
}

} // namespace Api
