#ifndef QUORVA_TESTS_FUZZ_CHOICES_H
#define QUORVA_TESTS_FUZZ_CHOICES_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

/** An input as a sequence of choices. When it is used up, every choice is the first one and every piece is empty. */
class Choices {
public:
    Choices(const std::uint8_t* data, std::size_t size) : rest_(reinterpret_cast<const char*>(data), size) {}

    bool isEmpty() const { return rest_.empty(); }

    unsigned byte()
    {
        if (rest_.empty())
            return 0;
        const unsigned value = static_cast<unsigned char>(rest_.front());
        rest_.remove_prefix(1);
        return value;
    }

    /** 0 to `limit` - 1; one byte, or two for larger limits. */
    unsigned upTo(unsigned limit) { return (limit <= 256 ? byte() : byte() * 256 + byte()) % limit; }
    bool oneIn(unsigned chances) { return upTo(chances) == chances - 1; }

    template <typename T, std::size_t N> const T& of(const std::array<T, N>& values)
    {
        return values[upTo(static_cast<unsigned>(N))];
    }

    /** At most `longest` bytes, after a byte with their number. */
    std::string_view piece(std::size_t longest)
    {
        const std::size_t size = std::min({static_cast<std::size_t>(byte()), longest, rest_.size()});
        const std::string_view result = rest_.substr(0, size);
        rest_.remove_prefix(size);
        return result;
    }

    std::string_view rest() const { return rest_; }

private:
    std::string_view rest_;
};

#endif
