#ifndef QUORVA_TOOLS_TYPEDVALUES_H
#define QUORVA_TOOLS_TYPEDVALUES_H

#include <QString>
#include <QVariantMap>

#include <string>

/**
 * The typed values of attributes: {"S": "text"}, {"N": "17"}, {"B": "YWI="}, {"SS": ["a", "b"]} and so on. The checks
 * return an empty string or what is wrong.
 */
namespace Ctl {

/** S, N, B, SS, NS or BS. */
bool isType(const QString& name);
/** SS, NS or BS. */
bool isSetType(const QString& type);

/** That a value is an object with one type and a content that fits. */
[[nodiscard]] std::string checkValue(const QVariant& value);

/** The same of every attribute. */
[[nodiscard]] std::string checkTypes(const QVariantMap& attributes);

/** That binary values are base64, whatever else the attributes are. */
[[nodiscard]] std::string checkBinary(const QVariantMap& attributes);

/** That a typed value, if it is a number, is one that the server computes and compares with. */
[[nodiscard]] std::string checkInteger(const QString& name, const QVariantMap& value);

/** What is wrong with a text that has no type, and what to write instead. */
std::string hasNoType(const QString& text);

/** The beginning of a text in quotes, for messages. */
std::string quoted(QString text);

} // namespace Ctl

#endif
