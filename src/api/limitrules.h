#ifndef QUORVA_API_LIMITRULES_H
#define QUORVA_API_LIMITRULES_H

#include "api/shapes.h"
#include "items/json.h"

#include <string>
#include <vector>

/** The limits of single values, in the words of the API's messages. Pure; any thread. */
namespace Api::LimitRules {

/** The rules that a value breaks, not counting those of what it contains. */
std::vector<std::string> brokenBy(const Items::JsonValue& value, const Shape& shape);

/** True if a shape has any limits itself. */
bool areThere(const Shape& shape);

/**
 * All rules of a string or list, in the form in which messages list them for the elements of a list, and for the keys
 * and values of a map.
 */
std::string all(const Shape& shape);

} // namespace Api::LimitRules

#endif
