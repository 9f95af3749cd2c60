#ifndef QUORVA_TOOLS_NOTATION_H
#define QUORVA_TOOLS_NOTATION_H

#include <QByteArray>
#include <QString>
#include <QVariantMap>

#include <string>
#include <vector>

/**
 * How values are written on a command line. Functions that may fail return an empty string or an error message.
 *
 *     S:text  N:17  B:YWI=  SS:a,b  NS:1,2  BS:YQ==    the type and the value, B in base64; a set with nothing
 *                                                      after the colon is empty
 *     B:@FILE                                         the bytes of a file
 *     {"SS": ["a", "b,c"]}                            the same as JSON, which also takes commas
 *     NAME=VALUE                                      an attribute; the name ends at the first "="
 *     {"NAME": VALUE, ...}                            attributes as JSON
 */
namespace Ctl {

[[nodiscard]] std::string parseValue(const QString& text, QVariantMap* value);

/** Words of the form NAME=VALUE or JSON objects, into one map. No name may come twice. */
[[nodiscard]] std::string parseAttributes(const std::vector<std::string>& words, QVariantMap* attributes);

/** Parses JSON that must be an object. Error messages begin with `what`. */
[[nodiscard]] std::string parseObject(const QByteArray& text, const std::string& what, QVariantMap* object);

/** Decodes a word of the command line; words that are not UTF-8 are refused. */
[[nodiscard]] std::string decodeWord(const std::string& word, const std::string& what, QString* text);

/** The same for a key, whose characters must be Latin-1. */
[[nodiscard]] std::string decodeKey(const std::string& word, const std::string& what, QString* key);

/** Returns an empty string, or why the server would refuse the key. */
[[nodiscard]] std::string checkKey(const QString& key, const std::string& what);

} // namespace Ctl

#endif
