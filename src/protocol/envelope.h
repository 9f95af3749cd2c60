#ifndef QUORVA_PROTOCOL_ENVELOPE_H
#define QUORVA_PROTOCOL_ENVELOPE_H

#include <QByteArray>
#include <QByteArrayView>
#include <QLatin1StringView>
#include <QString>
#include <QVariantMap>

/**
 * The members by which every reply reports its outcome, in addition to what the operation returns: a code and the
 * outcome in words; for an error also its type and a message.
 */
struct Envelope {
    int code;
    const char* outcome;
    const char* type;    // null on success
    const char* message; // likewise

    /**
     * Adds the members to the text of a reply, an object. Its own members come first: their names begin with a capital
     * letter, which sorts before "_" and lower-case letters.
     */
    void appendTo(QByteArray* reply) const;
};

/** The error types, by which programs distinguish errors. */
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
// Kept: a missing table or item has the code 400 and not 404. Clients distinguish it from other failures by "Not Found"
// and its type; the code alone only says success or failure.
inline constexpr Envelope NotFound{400, "Not Found", ErrorTypes::ResourceNotFound, "Specified item does not exist."};
inline constexpr Envelope InvalidRequest{400, "Bad Request", ErrorTypes::Validation, "A parameter is missing"};
inline constexpr Envelope InternalError{400, "Bad Request", ErrorTypes::InternalServerError,
                                        "The server encountered an internal error."};

// The members' names.
inline constexpr QLatin1StringView CodeName("__rc");
inline constexpr QLatin1StringView OutcomeName("__rcstr");
inline constexpr QLatin1StringView TypeName("__type");
inline constexpr QLatin1StringView MessageName("message");

// The members of a reply; 0 or an empty text if missing.
int code(const QVariantMap& reply);
bool isSuccess(const QVariantMap& reply);
QString outcome(const QVariantMap& reply);
QString errorType(const QVariantMap& reply);
QString message(const QVariantMap& reply);

/** Whether the text of a reply ends as that of each success does. */
bool reportsSuccess(QByteArrayView reply);

/** The text of the members in front of these in the reply of a success; empty for any other, or if there are none. */
QByteArrayView membersOfSuccess(QByteArrayView reply);

/** What the operation returns: the reply without these members. */
QVariantMap content(QVariantMap reply);

} // namespace Envelopes

#endif
