#ifndef QUORVA_EXPRESSIONS_FINDINGS_H
#define QUORVA_EXPRESSIONS_FINDINGS_H

#include <string>
#include <utility>

namespace Expressions {

/** What can be wrong with an expression whose syntax is right, in the order in which the API reports it. */
enum class Fault {
    RedundantParentheses,
    FunctionName, // unknown, or not allowed in this kind of expression or in this place
    ReservedWord,
    RepeatedSection,
    Undefined, // a name or value
    ListIndex,
    Nesting,
    OperandCount,
    NoPath,
    OperandType,
    Indistinct,
    Bounds,
    Overlap,
    Conflict,
};

/**
 * The fault that is reported of all that a parser finds: one of the first kind, and of those the first found. A parser
 * goes on when it has found one, as only the end of the text shows whether the syntax is right.
 */
class Findings {
public:
    void add(Fault fault, std::string message)
    {
        if (message_.empty() || fault < fault_) {
            fault_ = fault;
            message_ = std::move(message);
        }
    }

    /** Empty if nothing was found. */
    const std::string& message() const { return message_; }

private:
    Fault fault_{};
    std::string message_;
};

} // namespace Expressions

#endif
