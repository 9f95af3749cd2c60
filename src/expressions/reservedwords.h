#ifndef QUORVA_EXPRESSIONS_RESERVEDWORDS_H
#define QUORVA_EXPRESSIONS_RESERVEDWORDS_H

#include <string_view>

namespace Expressions {

/**
 * Whether the API reserves a word, so that an attribute of that name can be given in an expression by a placeholder
 * alone. Case makes no difference. Any thread.
 */
bool isReserved(std::string_view word);

} // namespace Expressions

#endif
