#ifndef QUORVA_TOOLS_TYPEDVALUES_H
#define QUORVA_TOOLS_TYPEDVALUES_H

#include <QString>
#include <QVariantMap>

#include <string>

/**
 * The typed values of attributes: {"S": "text"}, {"N": "17"}, {"B": "YWI="}, {"SS": ["a", "b"]} and so on. The checks
 * return an empty string or an error message.
 */
namespace Ctl {

/** S, N, B, SS, NS or BS. */
bool isType(const QString& name);
/** SS, NS or BS. */
bool isSetType(const QString& type);

/** Checks that a value is an object with one type and matching content. */
[[nodiscard]] std::string checkValue(const QVariant& value);

/** Checks the same for every attribute. */
[[nodiscard]] std::string checkTypes(const QVariantMap& attributes);

/** Checks that binary values are base64; ignores everything else. */
[[nodiscard]] std::string checkBinary(const QVariantMap& attributes);

/** Checks that a typed value, if it is a number, is one that the server can compute and compare with. */
[[nodiscard]] std::string checkInteger(const QString& name, const QVariantMap& value);

/** The message for a text without a type, with what to write instead. */
std::string hasNoType(const QString& text);

/** The beginning of a text, in quotes, for messages. */
std::string quoted(QString text);

} // namespace Ctl

#endif
