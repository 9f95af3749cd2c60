#ifndef QUORVA_API_KEYRANGE_H
#define QUORVA_API_KEYRANGE_H

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Api {

/** The keys of an item as the server stores them: bytes that compare in the API's order. */
struct StoredKey {
    std::string hash;
    std::string range;
    auto operator<=>(const StoredKey&) const = default;
};

/** An end of a range of keys. */
struct KeyBound {
    std::string key;
    bool isInclusive = true;
};

/** A "RangeKeyCondition" of the server. */
struct RangeCondition {
    const char* comparison = nullptr; // one of Bodies::Comparison
    std::vector<std::string> keys;    // one, or the two of "BETWEEN"
};

/**
 * The items of one hash key, or those of them between two bounds. A range can be read in both directions, from any key
 * on, although the server's comparison operators fix the direction, and its start keys replace a condition's value:
 * what continues a page is a query for the rest of the range.
 */
class KeyRange {
public:
    KeyRange() = default;
    explicit KeyRange(std::string hash) : hash_(std::move(hash)) {}

    const std::string& hash() const { return hash_; }

    /** Set a bound, replacing the previous one. */
    void setLow(KeyBound bound) { low_ = std::move(bound); }
    void setHigh(KeyBound bound) { high_ = std::move(bound); }

    bool contains(std::string_view key) const { return !isBelow(key) && !isAbove(key); }
    /** True if no key can be between the bounds. */
    bool isEmpty() const;

    /** The rest of the range after a key in it, when it is read upward or downward. */
    KeyRange after(const std::string& key, bool forward) const;

    /** True if the range ends before the key, when it is read upward or downward. */
    bool isPast(std::string_view key, bool forward) const { return forward ? isAbove(key) : isBelow(key); }

    /**
     * The condition with which the server reads the range in one direction; it may need none. The server may find one
     * more record at each end, and downward it continues below the range.
     */
    std::optional<RangeCondition> condition(bool forward) const;

    /** True if the server first examines a record outside the range, which counts towards its limit. */
    bool hasRecordBefore(bool forward) const;

private:
    bool isBelow(std::string_view key) const;
    bool isAbove(std::string_view key) const;
    std::optional<RangeCondition> conditionUp() const;
    RangeCondition conditionDown() const;

    std::string hash_;
    std::optional<KeyBound> low_;
    std::optional<KeyBound> high_;
};

} // namespace Api

#endif
