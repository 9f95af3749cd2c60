#include "tools/completion.h"

#include "client/wireconnection.h"
#include "protocol/framing.h"
#include "protocol/operations.h"
#include "tools/arguments.h"
#include "tools/serveraddress.h"
#include "json/jsonreader.h"
#include "json/jsonwriter.h"

#include <QVariantMap>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace fs = std::filesystem;

namespace Completions {

namespace {

/** The server's address, from options and environment variables that may be wrong: then no server is found. */
Ctl::ServerAddress serverOf(const std::map<std::string, std::string>& options)
{
    constexpr int Patience = 1; // seconds that a user waits after pressing a key
    Ctl::ServerAddress server;
    server.timeout = Patience;
    const auto value = [&](const char* option, const char* variable) {
        const auto found = options.find(option);
        const char* set = std::getenv(variable);
        return found != options.end() ? found->second : std::string(set == nullptr ? "" : set);
    };
    if (const std::string host = value("--host", "QUORVA_HOST"); !host.empty() && host != "localhost")
        server.host = host;
    if (const std::string port = value("--port", "QUORVA_PORT"); !port.empty())
        server.port = QString::fromStdString(port).toInt();
    return server;
}

/** The names of a directory's tables, without the directory; none without a reply. */
std::vector<std::string> tablesIn(const std::string& directory, const Ctl::ServerAddress& server)
{
    const QByteArray body = Json::serialize(QVariantMap{{"Directory", QString::fromStdString(directory)}});
    Client::WireConnection connection;
    QByteArray text;
    QVariant reply;
    if (!Ctl::connect(server, &connection) || !connection.exchange(Operations::ListTables.fullName(), body, &text) ||
        !Json::parse(text, &reply))
        return {};
    std::vector<std::string> names;
    for (const QVariant& table : reply.toMap().value("Tables").toList()) {
        const std::string name = table.toMap().value("TableName").toString().toStdString();
        if (const std::size_t bar = name.rfind('|'); bar != std::string::npos)
            names.push_back(name.substr(bar + 1));
    }
    return names;
}

/** The tables of a directory as a command line names them, as far as they complete the word. */
std::vector<std::string> tablesOf(const std::string& directory, const std::string& word,
                                  const Ctl::ServerAddress& server)
{
    std::vector<std::string> names;
    for (const std::string& name : tablesIn(directory, server)) {
        if (const std::string whole = directory + '|' + name; whole.starts_with(word))
            names.push_back(whole);
    }
    return names;
}

std::string withoutSlash(std::string path)
{
    if (path.ends_with('/'))
        path.pop_back();
    return path;
}

} // namespace

std::vector<std::string> files(const std::string& word, bool directoriesOnly)
{
    const std::size_t begin = word.rfind('/') == std::string::npos ? 0 : word.rfind('/') + 1;
    const std::string above = word.substr(0, begin);
    const std::string begun = word.substr(begin);
    std::vector<std::string> found;
    std::error_code error;
    for (fs::directory_iterator entry(above.empty() ? "." : above, error); !error && entry != fs::directory_iterator();
         entry.increment(error)) {
        const std::string name = entry->path().filename().string();
        std::error_code unknown;
        const bool isDirectory = entry->is_directory(unknown);
        const bool isHidden = name.starts_with('.') && begun.empty();
        if (name.starts_with(begun) && !isHidden && (isDirectory || !directoriesOnly))
            found.push_back(above + name + (isDirectory ? "/" : ""));
    }
    std::sort(found.begin(), found.end());
    return found;
}

std::vector<std::string> tables(const std::string& word, const std::map<std::string, std::string>& options)
{
    const Ctl::ServerAddress server = serverOf(options);
    if (const std::size_t bar = word.rfind('|'); bar != std::string::npos)
        return tablesOf(word.substr(0, bar), word, server);
    std::vector<std::string> found;
    if (const std::string directory = Ctl::defaultDirectory(); !directory.empty()) {
        for (const std::string& name : tablesIn(directory, server)) {
            if (name.starts_with(word))
                found.push_back(name);
        }
        if (!found.empty())
            return found;
    }
    const std::vector<std::string> directories = files(word, true);
    // A directory that is the only match, or is complete, is completed further.
    std::error_code error;
    if (!word.ends_with('/') && fs::is_directory(word, error))
        found = tablesOf(word, word, server);
    else if (directories.size() == 1)
        found = tablesOf(withoutSlash(directories.front()), word, server);
    return found.empty() ? directories : found;
}

} // namespace Completions
