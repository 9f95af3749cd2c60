#ifndef QUORVA_PROTOCOL_ENVELOPE_H
#define QUORVA_PROTOCOL_ENVELOPE_H

#include <QString>
#include <QVariantMap>

/**
 * The members by which every reply reports its outcome, beside what the operation returns: its code and the outcome in
 * words; of an error its type and a message as well.
 */
struct Envelope {
    int code;
    const char* outcome;
    const char* type;    // null on success
    const char* message; // likewise

    /** Writes the members over any that `reply` holds under the same names; everything else stays. */
    void addTo(QVariantMap* reply) const;
};

/** The types of errors. Programs distinguish errors by these. */
namespace ErrorTypes {

inline constexpr const char* ConditionalCheckFailed = "ConditionalCheckFailedException";
inline constexpr const char* ResourceNotFound = "ResourceNotFoundException";
inline constexpr const char* Validation = "ValidationException";
inline constexpr const char* InternalServerError = "InternalServerError";

} // namespace ErrorTypes

namespace Envelopes {

inline constexpr int SuccessCode = 200;

inline constexpr Envelope Success{SuccessCode, "OK", nullptr, nullptr};
inline constexpr Envelope ConditionFailed{400, "Bad Request", ErrorTypes::ConditionalCheckFailed,
                                          "The conditional request failed."};
// Kept: a missing table or item has the code 400 and not 404. Clients tell it from other failures by "Not Found" and by
// its type; the code alone only says success or failure.
inline constexpr Envelope NotFound{400, "Not Found", ErrorTypes::ResourceNotFound, "Specified item does not exist."};
inline constexpr Envelope InvalidRequest{400, "Bad Request", ErrorTypes::Validation, "A parameter is missing"};
inline constexpr Envelope InternalError{400, "Bad Request", ErrorTypes::InternalServerError,
                                        "The server encountered an internal error."};

// The members' names. Functions, as a literal of this kind costs a reply no allocation.
inline QString codeName()
{
    return QStringLiteral("__rc");
}
inline QString outcomeName()
{
    return QStringLiteral("__rcstr");
}
inline QString typeName()
{
    return QStringLiteral("__type");
}
inline QString messageName()
{
    return QStringLiteral("message");
}

// What a reply holds; 0 or an empty text where it has no such member.
int code(const QVariantMap& reply);
bool isSuccess(const QVariantMap& reply);
QString outcome(const QVariantMap& reply);
QString errorType(const QVariantMap& reply);
QString message(const QVariantMap& reply);

} // namespace Envelopes

#endif
