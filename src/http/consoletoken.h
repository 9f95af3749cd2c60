#ifndef QUORVA_HTTP_CONSOLETOKEN_H
#define QUORVA_HTTP_CONSOLETOKEN_H

#include <string>
#include <string_view>

namespace Http {

/**
 * The secret that the console's requests must contain: a random text, known only to users who can read this program's
 * standard error. Any thread.
 */
class ConsoleToken {
public:
    /** A token of 192 random bits from the kernel. Throws std::system_error if the kernel provides none. */
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
