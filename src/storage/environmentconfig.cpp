#include "storage/environmentconfig.h"

#include "base/descriptor.h"
#include "base/fileio.h"
#include "format/berkeleydbnames.h"
#include "format/serversettings.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <sstream>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace {

constexpr std::size_t MaxBytes = 65536;
constexpr std::size_t MaxLineBytes = 254; // Berkeley DB treats the rest as a separate line
constexpr std::string_view Blanks = " \t";

/** `text`: the content of the file; empty if there is none. */
int readText(const fs::path& path, std::string* text)
{
    const Base::Descriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!file.isOpen()) {
        if (errno == ENXIO)
            return EINVAL; // a socket
        return errno == ENOENT ? 0 : errno;
    }
    struct stat status {};
    if (::fstat(file.number(), &status) != 0)
        return errno;
    if (!S_ISREG(status.st_mode))
        return EINVAL;
    if (const int rc = Base::readAll(file.number(), MaxBytes + 1, text))
        return rc;
    return text->size() > MaxBytes || text->find('\0') != std::string::npos ? EINVAL : 0;
}

bool isControl(char c)
{
    return static_cast<unsigned char>(c) < ' ' && c != '\t';
}

std::string_view withoutLeadingBlanks(std::string_view text)
{
    return text.substr(std::min(text.find_first_not_of(Blanks), text.size()));
}

class Parser {
public:
    Parser(const fs::path& home, EnvironmentConfig* config) : home_(home), config_(*config) {}

    int parse(std::string_view text)
    {
        for (int number = 1; !text.empty(); ++number) {
            const std::size_t end = std::min(text.find('\n'), text.size());
            if (const int rc = parseLine(text.substr(0, end), number))
                return rc;
            text.remove_prefix(std::min(end + 1, text.size()));
        }
        return 0;
    }

private:
    int parseLine(std::string_view line, int number)
    {
        const bool tooLong = line.size() > MaxLineBytes;
        if (line.ends_with('\r'))
            line.remove_suffix(1);
        const bool isText = std::none_of(line.begin(), line.end(), isControl);
        line = withoutLeadingBlanks(line);
        const std::string name(line.substr(0, line.find_first_of(Blanks)));
        const std::string value(withoutLeadingBlanks(line.substr(name.size()))); // the rest, blanks included
        const bool empty = name.empty() || name.front() == '#';
        const bool known = name != ServerSettings::Mark || setOwn(value);
        if (tooLong || !isText || (!empty && value.empty()) || !known) {
            config_.complaint = std::string(BerkeleyDbNames::ConfigFile) + " line " + std::to_string(number) +
                                ": incorrect name-value pair";
            return EINVAL;
        }
        if (!empty)
            set(name, home_ / value);
        return 0;
    }

    /** One of the server's own settings, its name and its value. False if there is no such setting, for example because
     * it is misspelled. */
    bool setOwn(const std::string& setting)
    {
        std::istringstream words(setting);
        std::string name;
        std::string value;
        std::string more;
        words >> name >> value;
        bool* const known = name == ServerSettings::RemoveUnneededLogs ? &config_.removesUnneededLogs
                            : name == ServerSettings::PrepareLogFiles  ? &config_.preparesLogFiles
                                                                       : nullptr;
        if (known == nullptr || (value != "on" && value != "off") || words >> more)
            return false;
        *known = value == "on";
        return true;
    }

    void set(const std::string& name, const fs::path& directory)
    {
        if (name == "set_lg_dir" || name == "db_log_dir") {
            config_.logDirectory = directory; // the last such line applies
        } else if (name == "set_data_dir" || name == "add_data_dir" || name == "db_data_dir") {
            if (!std::exchange(hasDataDirectory_, true)) {
                config_.dataDirectories.clear(); // the home is one of them only if also named
                config_.createDirectory = directory;
            }
            config_.dataDirectories.push_back(directory);
        } else if (name == "set_create_dir") {
            config_.createDirectory = directory; // Berkeley DB requires it to be one of the data directories
        }
    }

    const fs::path& home_;
    EnvironmentConfig& config_;
    bool hasDataDirectory_ = false;
};

} // namespace

int EnvironmentConfig::read(const fs::path& home, EnvironmentConfig* config)
{
    const EnvironmentConfig defaults{home, {home}, home, false, false, {}};
    *config = defaults;
    std::string text;
    if (const int rc = readText(home / BerkeleyDbNames::ConfigFile, &text))
        return rc;
    const int rc = Parser(home, config).parse(text);
    if (rc != 0) {
        const std::string complaint = config->complaint;
        *config = defaults;
        config->complaint = complaint;
    }
    return rc;
}
