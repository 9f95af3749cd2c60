#include "format/tablename.h"

#include "format/backupnames.h"
#include "format/berkeleydbnames.h"

#include <algorithm>

namespace TableNames {

namespace {

constexpr std::string_view HexDigits = "0123456789abcdef";
constexpr std::string_view DataFileEnding = ".db";
constexpr std::size_t SuffixLength = 6;        // "_3f.db"
constexpr std::size_t MaxFileNameLength = 255; // the limit of file systems

bool endsLikeDataFile(std::string_view name)
{
    if (name.size() < SuffixLength || !name.ends_with(DataFileEnding))
        return false;
    const std::string_view suffix = name.substr(name.size() - SuffixLength);
    return suffix[0] == '_' && HexDigits.find(suffix[1]) != std::string_view::npos &&
           HexDigits.find(suffix[2]) != std::string_view::npos;
}

const char* componentRefusal(std::string_view name)
{
    if (name.empty())
        return R"(the table's name has an empty component ("//", or "/" at its end))";
    if (name == "." || name == "..")
        return R"(the table's name has a component "." or "..")";
    if (const char* reason = BerkeleyDbNames::refusal(name))
        return reason;
    if (const char* reason = BackupNames::refusal(name))
        return reason;
    if (endsLikeDataFile(name))
        return "names that end like \"_3f.db\" belong to the data files of tables";
    return nullptr;
}

} // namespace

std::string_view directory(std::string_view tableName)
{
    return tableName.substr(0, tableName.rfind('|'));
}

std::string_view filePart(std::string_view tableName)
{
    std::size_t separator = tableName.rfind('|');
    if (separator == std::string_view::npos)
        separator = tableName.find_last_of("/\\");
    return separator == std::string_view::npos ? tableName : tableName.substr(separator + 1);
}

std::string partitionSuffix(unsigned partition)
{
    return std::string{'_', HexDigits[partition >> 4 & 15], HexDigits[partition & 15]}.append(DataFileEnding);
}

std::string_view ofDataFile(std::string_view file)
{
    return endsLikeDataFile(file) ? file.substr(0, file.size() - SuffixLength) : file;
}

const char* refusal(std::string_view filePart)
{
    if (filePart.empty())
        return "the table's name is empty";
    if (filePart.find('\0') != std::string_view::npos)
        return "the table's name holds a zero byte"; // Berkeley DB would open the file named by the part before it
    if (filePart.front() == '/')
        return "the table's name is an absolute path";
    for (std::size_t begin = 0; begin <= filePart.size();) {
        const std::size_t end = std::min(filePart.find('/', begin), filePart.size());
        if (const char* reason = componentRefusal(filePart.substr(begin, end - begin)))
            return reason;
        if (end == filePart.size() && end - begin > MaxFileNameLength - SuffixLength)
            return "the last component of the table's name is longer than 249 bytes"; // data files add a suffix
        begin = end + 1;
    }
    return nullptr;
}

const char* fileRefusal(std::string_view file, std::string_view subDatabase)
{
    return refusal(subDatabase == DataSubDatabase ? ofDataFile(file) : file);
}

} // namespace TableNames
