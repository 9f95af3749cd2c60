#include "expressions/texts.h"

#include <gtest/gtest.h>

#include <string>

using Texts::conditionError;

namespace {

struct Faulty {
    const char* expression;
    const char* error; // what follows "Invalid ConditionExpression: "; empty for none
    const char* values = "{}";
    const char* names = "{}";
};

void expectErrors(std::initializer_list<Faulty> cases)
{
    for (const Faulty& c : cases)
        EXPECT_EQ(conditionError(c.expression, c.values, c.names),
                  *c.error == '\0' ? "" : "Invalid ConditionExpression: " + std::string(c.error))
            << c.expression;
}

TEST(ConditionErrors, Syntax)
{
    expectErrors({{"", "The expression can not be empty;"},
                  {" ", R"(Syntax error; token: "<EOF>", near: "")"},
                  {"a = ", R"(Syntax error; token: "<EOF>", near: "=")"},
                  {"a x b", R"(Syntax error; token: "x", near: "a x b")"},
                  {"a-b = :v", R"(Syntax error; token: "-", near: "a-b")"},
                  {"a != :v", R"(Syntax error; token: "!", near: "a !=")"},
                  {"a = b = c", R"(Syntax error; token: "=", near: "b = c")"},
                  {"(a = b", R"(Syntax error; token: "<EOF>", near: "b")"},
                  {"a = b)", R"x(Syntax error; token: ")", near: "b)")x"},
                  {"a IN ()", R"x(Syntax error; token: ")", near: "()")x"},
                  {"a IN :v", R"(Syntax error; token: ":v", near: "IN :v")"},
                  {"a BETWEEN b OR c", R"(Syntax error; token: "OR", near: "b OR c")"},
                  {"attribute_exists()", R"x(Syntax error; token: ")", near: "()")x"},
                  {"size(a) size(b)", R"x(Syntax error; token: "size", near: ") size(")x"},
                  {"a[:v] = b", R"(Syntax error; token: ":v", near: "[:v]")"},
                  {"a[b] = b", R"(Syntax error; token: "b", near: "[b]")"},
                  {"a[-1] = b", R"(Syntax error; token: "-", near: "[-1")"},
                  {"a.1 = b", R"(Syntax error; token: "1", near: ".1 =")"},
                  {"a. = b", R"(Syntax error; token: "=", near: ". = b")"},
                  {":v.a = b", R"(Syntax error; token: ".", near: ":v.a")"},
                  {"and = a", R"(Syntax error; token: "and", near: "and =")"},
                  {"a AND b = c", R"(Syntax error; token: "AND", near: "a AND b")"},
                  {"NOT a", R"(Syntax error; token: "<EOF>", near: "a")"},
                  {"(a = b) = c", R"x(Syntax error; token: "=", near: ") = c")x"},
                  {"a = (b = c)", R"x(Syntax error; token: "<EOF>", near: ")")x"}});
}

TEST(ConditionErrors, NamesAndValues)
{
    expectErrors(
        {{"#a = b", "An expression attribute name used in the document path is not defined; attribute name: #a"},
         {"a.#b = #c", "An expression attribute name used in the document path is not defined; attribute name: #c",
          "{}", R"({"#b": "b"})"},
         {"a = :v", "An expression attribute value used in expression is not defined; attribute value: :v"},
         {"a.Name = b", "Attribute name is a reserved keyword; reserved keyword: Name"},
         {"set = b", "Attribute name is a reserved keyword; reserved keyword: set"},
         {"a[2147483648] = b", "List index is not within the allowable range; index: [2147483648]"},
         {"a[99999999999999999999] = b", "List index is not within the allowable range; index: [99999999999999999999]"},
         {"a[2147483647] = b", ""}});
    EXPECT_EQ(conditionError("a = b", R"({":v": {"S": ""}, ":u": {"S": ""}})"),
              "Value provided in ExpressionAttributeValues unused in expressions: keys: {:u, :v}");
    EXPECT_EQ(conditionError("a = b", R"({":v": {"S": ""}})", R"({"#a": "a"})"),
              "Value provided in ExpressionAttributeNames unused in expressions: keys: {#a}");
}

TEST(ConditionErrors, Functions)
{
    expectErrors(
        {{"SIZE(a) = b", "Invalid function name; function: SIZE"},
         {"if_not_exists(a, b)", "The function is not allowed in a condition expression; function: if_not_exists"},
         {"size(a)", "The function is not allowed to be used this way in an expression; function: size"},
         {"attribute_exists(a) = b",
          "The function is not allowed to be used this way in an expression; function: attribute_exists"},
         {"size(contains(a, b)) = b",
          "The function is not allowed to be used this way in an expression; function: contains"},
         {"size(a, b) = c", "Incorrect number of operands for operator or function; operator or "
                            "function: size, number of operands: 2"},
         {"contains(a)", "Incorrect number of operands for operator or function; operator or function: "
                         "contains, number of operands: 1"},
         {"attribute_exists(:v)",
          "Operator or function requires a document path; operator or function: attribute_exists",
          R"({":v": {"S": "a"}})"},
         {"attribute_not_exists(size(a))",
          "Operator or function requires a document path; operator or function: attribute_not_exists"},
         {"a = a", "The first operand must be distinct from the remaining operands for this operator or function; "
                   "operator: =, first operand: [a]"},
         {"a[1].b IN (c, a[1].b)",
          "The first operand must be distinct from the remaining operands for this operator or "
          "function; operator: IN, first operand: [a, [1], b]"},
         {"contains(a, a)", "The first operand must be distinct from the remaining operands for this operator or "
                            "function; operator: contains, first operand: [a]"}});
}

TEST(ConditionErrors, Types)
{
    const std::string begin = "Incorrect operand type for operator or function; operator or function: ";
    const auto wrongType = [&](const char* name, const char* type) { return begin + name + ", operand type: " + type; };
    expectErrors({{"begins_with(a, :v)", wrongType("begins_with", "N").c_str(), R"({":v": {"N": "1"}})"},
                  {"size(:v) = a", wrongType("size", "BOOL").c_str(), R"({":v": {"BOOL": true}})"},
                  {"size(size(a)) = a", wrongType("size", "N").c_str()},
                  {"contains(:v, a)", wrongType("contains", "N").c_str(), R"({":v": {"N": "1"}})"},
                  {"a < :v", wrongType("<", "NULL").c_str(), R"({":v": {"NULL": true}})"},
                  {"a BETWEEN :v AND b", wrongType("BETWEEN", "L").c_str(), R"({":v": {"L": []}})"},
                  {"attribute_type(a, :v)", wrongType("attribute_type", "N").c_str(), R"({":v": {"N": "1"}})"},
                  {"attribute_type(a, b)", wrongType("attribute_type", "{NS,SS,L,BS,N,M,B,BOOL,NULL,S}").c_str()},
                  {"attribute_type(a, :v)",
                   "Invalid attribute type name found; type: s, valid types: {B,NULL,SS,BOOL,L,BS,N,NS,S,M}",
                   R"({":v": {"S": "s"}})"}});
}

TEST(ConditionErrors, BoundsOfBetween)
{
    const std::string order = "The BETWEEN operator requires upper bound to be greater than or equal to lower bound; "
                              "lower bound operand: AttributeValue: ";
    const std::string type = "The BETWEEN operator requires same data type for lower and upper bounds; "
                             "lower bound operand: AttributeValue: ";
    const char* expression = "a BETWEEN :v AND :w";
    expectErrors({{expression, (order + "{S:b}, upper bound operand: AttributeValue: {S:a}").c_str(),
                   R"({":v": {"S": "b"}, ":w": {"S": "a"}})"},
                  {expression, (order + "{N:10}, upper bound operand: AttributeValue: {N:9}").c_str(),
                   R"({":v": {"N": "1e1"}, ":w": {"N": "9.0"}})"},
                  {expression, (order + "{B:AQ==}, upper bound operand: AttributeValue: {B:AA==}").c_str(),
                   R"({":v": {"B": "AQ=="}, ":w": {"B": "AA=="}})"},
                  {expression, (type + "{N:1}, upper bound operand: AttributeValue: {S:2}").c_str(),
                   R"({":v": {"N": "1"}, ":w": {"S": "2"}})"}});
}

TEST(ConditionErrors, Parentheses)
{
    expectErrors({{"((a = b))", "The expression has redundant parentheses;"},
                  {"NOT ((a)) = b", "The expression has redundant parentheses;"},
                  {"((a = b) AND c = d)", ""},
                  {"(a) = (b) AND (size(c)) > (d)", ""},
                  {"(NOT (a = b))", ""}});
}

TEST(ConditionErrors, TheFirstKindOfFaultIsReported)
{
    expectErrors(
        {{"name = :v AND ((a = b)) AND foo(a) AND x y", R"(Syntax error; token: "y", near: "x y")"},
         {"name = :v AND foo(a) AND ((a = b))", "The expression has redundant parentheses;"},
         {"name = :v AND foo(a)", "Invalid function name; function: foo"},
         {"size(a, b) = c AND a = :v AND name = c", "Attribute name is a reserved keyword; reserved keyword: name"},
         {"size(a, b) = c AND a = :v",
          "An expression attribute value used in expression is not defined; attribute value: :v"}});
}

} // namespace
