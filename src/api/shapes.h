#ifndef QUORVA_API_SHAPES_H
#define QUORVA_API_SHAPES_H

#include <cstddef>
#include <limits>
#include <span>
#include <string_view>

/** The shapes of requests: their members, with types and limits. */
namespace Api {

struct Shape;

struct Member {
    std::string_view name;
    const Shape* shape;
    bool isRequired = false;
};

/**
 * The type of a value. What the limits apply to depends on it: the number itself, the characters of a string, or the
 * elements of a list or map.
 */
struct Shape {
    enum class Kind { String, Integer, Long, Boolean, Blob, Structure, List, Map };
    static constexpr long long NoMinimum = std::numeric_limits<long long>::min();
    static constexpr long long NoMaximum = std::numeric_limits<long long>::max();

    Kind kind = Kind::String;
    std::string_view name = {}; // of a structure, or of a map's values, in messages
    std::span<const Member> members = {};
    const Shape* element = nullptr; // of a list, or the values of a map
    const Shape* key = nullptr;     // of a map: a string
    long long minimum = NoMinimum;
    long long maximum = NoMaximum;
    std::string_view pattern = {};              // of a string, a regular expression
    std::span<const std::string_view> values{}; // of a string: the allowed ones
    bool isTableName = false;                   // may also be a real name, which has a "|", or an ARN
    bool hasNoLimits = false;                   // nor has anything in it, so it need not be checked
};

/** The inputs of the operations. */
namespace Inputs {

extern const Shape CreateTable;
extern const Shape DeleteTable;
extern const Shape DescribeContinuousBackups;
extern const Shape DescribeEndpoints;
extern const Shape DescribeLimits;
extern const Shape DescribeTable;
extern const Shape DescribeTimeToLive;
extern const Shape ListTables;
extern const Shape ListTagsOfResource;
extern const Shape TagResource;
extern const Shape UntagResource;
extern const Shape UpdateTable;

extern const Shape BatchGetItem;
extern const Shape BatchWriteItem;
extern const Shape DeleteItem;
extern const Shape GetItem;
extern const Shape PutItem;
extern const Shape Query;
extern const Shape Scan;
extern const Shape UpdateItem;

} // namespace Inputs

} // namespace Api

#endif
