#ifndef QUORVA_HTTP_CONSOLETOKEN_H
#define QUORVA_HTTP_CONSOLETOKEN_H

#include <string>
#include <string_view>

namespace Http {

/**
 * What the console's requests must know: a random text, which only users learn who can read this program's standard
 * error. Any thread.
 */
class ConsoleToken {
public:
    /** A token of 192 random bits from the kernel. Throws std::system_error when the kernel has none. */
    ConsoleToken();

    /** Takes the same time for every text of the token's length. */
    bool matches(std::string_view text) const;

    /** 48 hexadecimal digits. */
    const std::string& text() const { return text_; }

private:
    std::string text_;
};

} // namespace Http

#endif
