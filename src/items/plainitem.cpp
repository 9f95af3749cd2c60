#include "items/plainitem.h"

#include "items/itemjson.h"
#include "items/jsonwriter.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace Items {

namespace {

constexpr std::size_t MostDigits = 18; // far fewer than a number can have

/** Takes pieces off the begin of a text. */
class Scanner {
public:
    explicit Scanner(std::string_view text) : rest_(text) {}

    /** A literal, so that its few bytes are compared without a call. */
    template <std::size_t Size> bool take(const char (&piece)[Size])
    {
        constexpr std::size_t Length = Size - 1;
        if (rest_.size() < Length || std::memcmp(rest_.data(), piece, Length) != 0)
            return false;
        rest_.remove_prefix(Length);
        return true;
    }

    /** A string up to its closing quote, which it takes as well. */
    bool takeString(std::string_view* string)
    {
        const std::size_t length = rest_.find('"');
        if (length == std::string_view::npos)
            return false;
        *string = rest_.substr(0, length);
        rest_.remove_prefix(length + 1);
        return !JsonWriter::needsEscape(*string);
    }

    const char* position() const { return rest_.data(); }
    bool isAtEnd() const { return rest_.empty(); }

private:
    std::string_view rest_;
};

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

/** Whether a number is written as Decimal::Number::text() writes it. */
bool isShortest(std::string_view number)
{
    const bool isNegative = number.starts_with('-');
    number.remove_prefix(isNegative ? 1 : 0);
    const std::string_view whole = number.substr(0, number.find('.'));
    const std::string_view fraction = number.substr(std::min(whole.size() + 1, number.size()));
    if (whole.empty() || number.size() > MostDigits || (whole.front() == '0' && whole.size() > 1))
        return false;
    if (!std::all_of(whole.begin(), whole.end(), isDigit) || !std::all_of(fraction.begin(), fraction.end(), isDigit))
        return false;
    if (whole.size() < number.size()) // has a point
        return !fraction.empty() && fraction.back() != '0';
    return !isNegative || whole != "0";
}

/** Takes a member: its name, and a value of which nothing but the form matters. */
bool takeMember(Scanner* scanner, std::string_view* name)
{
    std::string_view content;
    if (!scanner->take("\"") || !scanner->takeString(name) || !scanner->take(":{\""))
        return false;
    if (scanner->take("S\":\""))
        return scanner->takeString(&content) && scanner->take("}");
    return scanner->take("N\":\"") && scanner->takeString(&content) && isShortest(content) && scanner->take("}");
}

void appendComma(std::string* json)
{
    if (json->back() != '{')
        *json += ',';
}

/** Appends members to an object that is not closed yet. */
void appendMembers(std::string_view members, std::string* json)
{
    if (members.empty())
        return;
    appendComma(json);
    *json += members;
}

void appendKey(const Item::value_type& attribute, std::string* json)
{
    const auto& [name, value] = attribute;
    appendComma(json);
    if (const std::string* const text = value.asString()) {
        appendString(name, json);
        *json += ":{\"S\":";
        appendString(*text, json);
        *json += '}';
    } else {
        const std::string object = jsonOf({attribute});
        json->append(object, 1, object.size() - 2);
    }
}

} // namespace

bool PlainItem::append(std::string_view stored, const Item& keys, std::string* json)
{
    Scanner scanner(stored);
    if (!scanner.take("{"))
        return false;
    *json += '{';
    auto key = keys.begin();
    const char* begin = scanner.position(); // of the members that have not been appended
    if (!scanner.take("}")) {
        std::string_view last;
        do {
            const char* const member = scanner.position();
            std::string_view name;
            if (!takeMember(&scanner, &name) || name <= last) // in particular an empty one
                return false;
            last = name;
            for (; key != keys.end() && key->first <= name; ++key) {
                if (key->first == name)
                    return false;
                if (begin != member)
                    appendMembers({begin, member - 1}, json); // without the comma
                appendKey(*key, json);
                begin = member;
            }
        } while (scanner.take(","));
        appendMembers({begin, scanner.position()}, json);
        if (!scanner.take("}"))
            return false;
    }
    for (; key != keys.end(); ++key)
        appendKey(*key, json);
    *json += '}';
    return scanner.isAtEnd();
}

} // namespace Items
