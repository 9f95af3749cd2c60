#include "http/consolefiles.h"

#include "http/apierror.h"
#include "http/apiresponses.h"
#include "http/consoleheaders.h"

#include <algorithm>
#include <utility>

namespace Http {

namespace {

constexpr std::string_view Page = "/console";

/** The file of a target that begins with the page's path; null when there is none. */
const ConsoleFile* fileOf(std::string_view target)
{
    std::string_view name = target.substr(0, target.find_first_of("?#")).substr(Page.size());
    name = name.empty() || name == "/" ? "index.html" : name.substr(1);
    const auto files = consoleFiles();
    const auto found = std::find_if(files.begin(), files.end(), [&](const auto& file) { return file.name == name; });
    return found != files.end() ? &*found : nullptr;
}

const char* typeOf(std::string_view name)
{
    for (const auto& [ending, type] : {
             std::pair{".html", "text/html; charset=utf-8"},
             std::pair{".css", "text/css; charset=utf-8"},
             std::pair{".js", "text/javascript; charset=utf-8"},
         }) {
        if (name.ends_with(ending))
            return type;
    }
    return "image/svg+xml";
}

} // namespace

std::optional<Response> ConsoleFiles::refuse(const RequestHead& head)
{
    if (fileOf(head.target) == nullptr)
        return ApiResponses::error(head, NotFound, OwnErrorTypes::InvalidRequest, "There is nothing at this path");
    return std::nullopt;
}

void ConsoleFiles::serve(const RequestHead& head, QByteArray&&, std::function<void(Response&&)> done)
{
    const ConsoleFile* const file = fileOf(head.target); // refuse() has let it pass, so there is one
    Response response{Ok, {}, {{"Content-Type", typeOf(file->name)}}, {}};
    response.body = QByteArray::fromRawData(file->text.data(), static_cast<qsizetype>(file->text.size()));
    confineConsole(&response);
    done(std::move(response));
}

} // namespace Http
