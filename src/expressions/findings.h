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
 * Of all faults that a parser finds, the one to report: the first one of the kind that comes first above. A parser goes
 * on after a fault, as only the end of the text shows whether the syntax is right.
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
