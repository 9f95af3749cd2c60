#ifndef QUORVA_EXPRESSIONS_RESERVEDWORDS_H
#define QUORVA_EXPRESSIONS_RESERVEDWORDS_H

#include <string_view>

namespace Expressions {

/**
 * True if the API reserves a word: expressions can name an attribute of that name only by a placeholder. Ignores case.
 * Any thread.
 */
bool isReserved(std::string_view word);

} // namespace Expressions

#endif
