#include "http/consoletoken.h"

#include <sys/random.h>

#include <array>
#include <cerrno>
#include <system_error>

namespace Http {

ConsoleToken::ConsoleToken()
{
    static constexpr char Digits[] = "0123456789abcdef";
    std::array<unsigned char, 24> bytes{};
    // The kernel returns so few bytes all at once, or none.
    if (getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size()))
        throw std::system_error(errno, std::generic_category(), "getrandom");
    for (const unsigned char byte : bytes) {
        text_ += Digits[byte >> 4];
        text_ += Digits[byte & 15];
    }
}

bool ConsoleToken::matches(std::string_view text) const
{
    if (text.size() != text_.size())
        return false;
    unsigned difference = 0;
    for (std::size_t at = 0; at < text_.size(); ++at)
        difference |= static_cast<unsigned char>(text_[at]) ^ static_cast<unsigned char>(text[at]);
    return difference == 0;
}

} // namespace Http
