#ifndef QUORVA_EXPRESSIONS_SHAREDVALUE_H
#define QUORVA_EXPRESSIONS_SHAREDVALUE_H

#include "items/attributevalue.h"

#include <memory>
#include <utility>

namespace Expressions {

/**
 * A value of a request, never null in a tree. An expression can use one value hundreds of times, and a value can be
 * megabytes long, so trees share them.
 */
using SharedValue = std::shared_ptr<const Items::AttributeValue>;

inline SharedValue shared(Items::AttributeValue value)
{
    return std::make_shared<const Items::AttributeValue>(std::move(value));
}

} // namespace Expressions

#endif
