#ifndef QUORVA_TESTS_SUPPORT_PATTERNS_H
#define QUORVA_TESTS_SUPPORT_PATTERNS_H

#include <string>
#include <vector>

/** Regular expressions, of a library that is compiled: the standard one's templates take a second in each source. */
namespace Patterns {

/** The whole match and its groups when the pattern matches all of `text`; nothing otherwise. */
std::vector<std::string> groupsOf(const std::string& text, const std::string& pattern);

bool matches(const std::string& text, const std::string& pattern);

/** How often the pattern is found. */
int countIn(const std::string& text, const std::string& pattern);

/** `text` without what the pattern matches. */
std::string without(const std::string& text, const std::string& pattern);

} // namespace Patterns

#endif
