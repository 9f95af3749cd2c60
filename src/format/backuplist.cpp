#include "format/backuplist.h"

#include "format/checksum.h"

#include <charconv>
#include <cstddef>
#include <cstdio>
#include <optional>
#include <system_error>
#include <utility>

namespace {

constexpr std::string_view Title = "quorva-backup-list ";
constexpr std::string_view Version = "1";

constexpr const char* CutOff = "is cut off";
constexpr const char* Damaged = "is damaged";

bool isPlain(char byte)
{
    const auto code = static_cast<unsigned char>(byte);
    return code >= 0x20 && code != 0x7f && byte != '%';
}

std::string escaped(std::string_view name)
{
    std::string text;
    for (const char byte : name) {
        if (isPlain(byte)) {
            text += byte;
            continue;
        }
        char digits[8];
        std::snprintf(digits, sizeof digits, "%%%02x", static_cast<unsigned char>(byte));
        text += digits;
    }
    return text;
}

std::string hexadecimal(std::uint64_t number)
{
    char digits[32];
    std::snprintf(digits, sizeof digits, "%016llx", static_cast<unsigned long long>(number));
    return digits;
}

template <typename Number> bool parse(std::string_view text, int base, Number* number)
{
    const char* end = text.data() + text.size();
    const auto parsed = std::from_chars(text.data(), end, *number, base);
    return parsed.ec == std::errc() && parsed.ptr == end;
}

std::optional<std::string> unescaped(std::string_view text)
{
    constexpr std::size_t EscapeLength = 3;
    std::string name;
    while (!text.empty()) {
        if (text.front() != '%') {
            name += text.front();
            text.remove_prefix(1);
            continue;
        }
        unsigned char byte = 0;
        if (text.size() < EscapeLength || !parse(text.substr(1, 2), 16, &byte))
            return std::nullopt;
        name += static_cast<char>(byte);
        text.remove_prefix(EscapeLength);
    }
    return name;
}

/** Removes and returns the part of `text` before the next `separator`; all of it when there is none. */
std::string_view takeUntil(char separator, std::string_view* text)
{
    const std::size_t size = text->find(separator);
    const std::string_view taken = text->substr(0, size);
    text->remove_prefix(size == std::string_view::npos ? text->size() : size + 1);
    return taken;
}

bool readFileLine(std::string_view rest, BackupList* list)
{
    BackupList::File file;
    if (!parse(takeUntil(' ', &rest), 10, &file.size) || !parse(takeUntil(' ', &rest), 16, &file.checksum))
        return false;
    const auto name = unescaped(rest);
    return name && BackupList::isFileName(*name) && list->files.emplace(*name, file).second;
}

bool readLine(std::string_view line, BackupList* list)
{
    const std::string_view word = takeUntil(' ', &line);
    if (word == "file")
        return readFileLine(line, list);
    if (word == "first-log")
        return parse(line, 10, &list->firstLog);
    if (word == "end-of-log")
        return parse(takeUntil(' ', &line), 10, &list->lastLog) && parse(line, 10, &list->lastLogSize);
    if (word != "home")
        return false;
    const auto home = unescaped(line);
    list->home = home.value_or("");
    return home.has_value();
}

/** All lines but the last one. */
std::string bodyOf(const BackupList& list)
{
    std::string text;
    text.append(Title).append(Version) += '\n';
    text += "home " + escaped(list.home) + '\n';
    text += "first-log " + std::to_string(list.firstLog) + '\n';
    text += "end-of-log " + std::to_string(list.lastLog) + ' ' + std::to_string(list.lastLogSize) + '\n';
    for (const auto& [name, file] : list.files)
        text += "file " + std::to_string(file.size) + ' ' + hexadecimal(file.checksum) + ' ' + escaped(name) + '\n';
    return text;
}

} // namespace

bool BackupList::isFileName(std::string_view name)
{
    if (name.empty() || name.back() == '/' || name.find('\0') != std::string_view::npos)
        return false;
    while (!name.empty()) {
        const std::string_view part = takeUntil('/', &name);
        if (part.empty() || part == "." || part == "..")
            return false;
    }
    return true;
}

std::string BackupList::write() const
{
    std::string text = bodyOf(*this);
    const std::uint64_t checksum = Checksum::of(text);
    return text += "end " + std::to_string(files.size()) + ' ' + hexadecimal(checksum) + '\n';
}

bool BackupList::read(std::string_view text, BackupList* list, std::string* error)
{
    const auto fail = [error](const char* what) {
        *error = what;
        return false;
    };
    const std::string_view all = text;
    if (!text.starts_with(Title))
        return fail(Title.starts_with(text) ? CutOff : "is not a list of a backup's files");
    const std::string_view version = takeUntil('\n', &text).substr(Title.size());
    if (version != Version) {
        *error = "has the unknown version " + escaped(version);
        return false;
    }
    if (text.empty() || text.back() != '\n')
        return fail(CutOff);
    BackupList found;
    std::string_view line = takeUntil('\n', &text);
    for (; !text.empty(); line = takeUntil('\n', &text)) {
        if (!readLine(line, &found))
            return fail(Damaged);
    }
    if (!line.starts_with("end "))
        return fail(CutOff);
    // The format is canonical: a list is valid only if writing it again gives the same bytes.
    if (found.write() != all)
        return fail(Damaged);
    *list = std::move(found);
    return true;
}
