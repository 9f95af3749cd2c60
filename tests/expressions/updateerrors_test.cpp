#include "expressions/texts.h"

#include <gtest/gtest.h>

#include <string>

using Texts::updateError;

namespace {

struct FaultyUpdate {
    const char* expression;
    const char* error; // what follows "Invalid UpdateExpression: "; empty for none
    const char* values = "{}";
};

void expectUpdateErrors(std::initializer_list<FaultyUpdate> cases)
{
    for (const FaultyUpdate& c : cases)
        EXPECT_EQ(updateError(c.expression, c.values),
                  *c.error == '\0' ? "" : "Invalid UpdateExpression: " + std::string(c.error))
            << c.expression;
}

TEST(UpdateErrors, Syntax)
{
    expectUpdateErrors(
        {{"", "The expression can not be empty;"},
         {"\t", R"(Syntax error; token: "<EOF>", near: "")"},
         {"a = b", R"(Syntax error; token: "a", near: "a =")"},
         {"SET", R"(Syntax error; token: "<EOF>", near: "SET")"},
         {"SET a", R"(Syntax error; token: "<EOF>", near: "a")"},
         {"SET a = b,", R"(Syntax error; token: "<EOF>", near: ",")"},
         {"SET a = b, REMOVE c", R"(Syntax error; token: "REMOVE", near: ", REMOVE c")"},
         {"SET SET c = d", R"(Syntax error; token: "SET", near: "SET SET c")"},
         {"SET a = b + c + d", R"(Syntax error; token: "+", near: "c + d")"},
         {"SET a = (b + c) + d", R"x(Syntax error; token: "+", near: ") + d")x"},
         {"SET a = b + (c + d)", R"(Syntax error; token: "+", near: "c + d")"},
         {"SET a = if_not_exists(b, c + d)", R"(Syntax error; token: "+", near: "c + d")"},
         {"SET a = b * c", R"(Syntax error; token: "*", near: "b * c")"},
         {"SET a == b", R"(Syntax error; token: "=", near: "== b")"},
         {"REMOVE a b", R"(Syntax error; token: "b", near: "a b")"},
         {"REMOVE :v", R"(Syntax error; token: ":v", near: "REMOVE :v")"},
         {"ADD a b", R"(Syntax error; token: "b", near: "a b")"},
         {"ADD a = :v", R"(Syntax error; token: "=", near: "a = :v")"},
         {"DELETE a if_not_exists(a, b)", R"x(Syntax error; token: "if_not_exists", near: "a if_not_exists(")x"},
         {"SET a = ((b))", "The expression has redundant parentheses;"},
         {"SET a = (b), c = (d + (e))", ""}});
}

TEST(UpdateErrors, EachSectionIsUsedOnce)
{
    expectUpdateErrors(
        {{"SET a = b set c = d", R"(The "SET" section can only be used once in an update expression;)"},
         {"REMOVE a SET b = c REMOVE d", R"(The "REMOVE" section can only be used once in an update expression;)"},
         {"DELETE a :v ADD b :v REMOVE c SET d = e", "", R"({":v": {"SS": ["a"]}})"}});
}

TEST(UpdateErrors, PathsNeitherOverlapNorConflict)
{
    const std::string overlap =
        "Two document paths overlap with each other; must remove or rewrite one of these paths; path one: ";
    const std::string conflict =
        "Two document paths conflict with each other; must remove or rewrite one of these paths; path one: ";
    expectUpdateErrors({{"SET a = x, a = y", (overlap + "[a], path two: [a]").c_str()},
                        {"SET a = x REMOVE a.b", (overlap + "[a], path two: [a, b]").c_str()},
                        {"SET a.b[1].c = x REMOVE a.b", (overlap + "[a, b, [1], c], path two: [a, b]").c_str()},
                        {"REMOVE a[1], a[2], a[1]", (overlap + "[a, [1]], path two: [a, [1]]").c_str()},
                        {"SET a.b = x REMOVE a[1]", (conflict + "[a, b], path two: [a, [1]]").c_str()},
                        {"SET a[0].b = x REMOVE a[0][1], a", (overlap + "[a, [0], b], path two: [a]").c_str()},
                        {"SET a.b = x, a.c = y, b.a = z REMOVE c[0].a, c[1].a", ""}});
}

TEST(UpdateErrors, FunctionsAndTypes)
{
    const char* values = R"({":v": {"S": "a"}})";
    expectUpdateErrors(
        {{"SET a = size(b)", "The function is not allowed in an update expression; function: size"},
         {"SET a = foo(b)", "Invalid function name; function: foo"},
         {"SET a = if_not_exists(b)", "Incorrect number of operands for operator or function; operator or function: "
                                      "if_not_exists, number of operands: 1"},
         {"SET a = list_append(b, c, d)", "Incorrect number of operands for operator or function; operator or "
                                          "function: list_append, number of operands: 3"},
         {"SET a = if_not_exists(:v, b)",
          "Operator or function requires a document path; operator or function: if_not_exists", values},
         {"SET a = b + :v", "Incorrect operand type for operator or function; operator or function: +, operand type: S",
          values},
         {"SET a = list_append(b, c) - d",
          "Incorrect operand type for operator or function; operator or function: -, operand type: L"},
         {"SET a = list_append(b, :v)",
          "Incorrect operand type for operator or function; operator or function: list_append, operand type: S",
          values},
         {"ADD a :v",
          "Incorrect operand type for operator or function; operator: ADD, operand type: STRING, typeSet: "
          "ALLOWED_FOR_ADD_OPERAND",
          values},
         {"DELETE a :v",
          "Incorrect operand type for operator or function; operator: DELETE, operand type: NUMBER, typeSet: "
          "ALLOWED_FOR_DELETE_OPERAND",
          R"({":v": {"N": "1"}})"},
         {"SET status = b", "Attribute name is a reserved keyword; reserved keyword: status"},
         {"SET a = :v", "An expression attribute value used in expression is not defined; attribute value: :v"},
         {"REMOVE #a", "An expression attribute name used in the document path is not defined; attribute name: #a"}});
}

} // namespace
