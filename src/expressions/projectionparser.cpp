#include "expressions/parser.h"
#include "expressions/parsing.h"

namespace Expressions {

namespace {

/** Projections: path {, path}. */
class ProjectionParser : public Parser {
public:
    ProjectionParser(std::string_view text, Placeholders* placeholders) : Parser(text, placeholders, {}) {}

    bool parse(PathTree* projection)
    {
        if (!begin())
            return false;
        do {
            std::optional<Path> path;
            if (!parsePath(&path))
                return false;
            addDistinct(*path, projection);
        } while (tokens().takeSymbol(","));
        return end();
    }
    using Parser::error;
};

} // namespace

bool parseProjection(std::string_view text, Placeholders* placeholders, PathTree* projection, std::string* error)
{
    ProjectionParser parser(text, placeholders);
    if (parser.parse(projection))
        return true;
    *error = "Invalid ProjectionExpression: " + parser.error();
    return false;
}

} // namespace Expressions
