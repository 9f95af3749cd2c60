#include "items/plainitem.h"

#include "items/itemjson.h"
#include "items/jsonwriter.h"

#include <algorithm>
#include <cstddef>

namespace Items {

namespace {

constexpr std::size_t MostDigits = 18; // far fewer than a number can have

/** Takes pieces off the begin of a text. */
class Scanner {
public:
    explicit Scanner(std::string_view text) : rest_(text) {}

    bool take(std::string_view piece)
    {
        if (!rest_.starts_with(piece))
            return false;
        rest_.remove_prefix(piece.size());
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

/** Appends members to an object that is not closed yet. */
void appendMembers(std::string_view members, std::string* json)
{
    if (members.empty())
        return;
    if (json->back() != '{')
        *json += ',';
    *json += members;
}

std::string memberOf(const Item::value_type& attribute)
{
    const auto& [name, value] = attribute;
    const std::string* const text = value.asString();
    if (text != nullptr && !JsonWriter::needsEscape(name) && !JsonWriter::needsEscape(*text))
        return '"' + name + "\":{\"S\":\"" + *text + "\"}";
    const std::string object = jsonOf({attribute});
    return object.substr(1, object.size() - 2);
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
                appendMembers(memberOf(*key), json);
                begin = member;
            }
        } while (scanner.take(","));
        appendMembers({begin, scanner.position()}, json);
        if (!scanner.take("}"))
            return false;
    }
    for (; key != keys.end(); ++key)
        appendMembers(memberOf(*key), json);
    *json += '}';
    return scanner.isAtEnd();
}

} // namespace Items
