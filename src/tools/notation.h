#ifndef QUORVA_TOOLS_NOTATION_H
#define QUORVA_TOOLS_NOTATION_H

#include <QByteArray>
#include <QString>
#include <QVariantMap>

#include <string>
#include <vector>

/**
 * How values are written on a command line. Functions that may fail return an empty string or what is wrong.
 *
 *     S:text  N:17  B:YWI=  SS:a,b  NS:1,2  BS:YQ==    the type and the value, of B in base64; nothing behind the colon
 *                                                      of a set is the empty set
 *     {"SS": ["a", "b,c"]}                            the same as JSON, which also takes commas
 *     NAME=VALUE                                      an attribute; the name ends at the first "="
 *     {"NAME": VALUE, ...}                            attributes as JSON
 */
namespace Ctl {

[[nodiscard]] std::string parseValue(const QString& text, QVariantMap* value);

/** Words of the form NAME=VALUE or JSON objects, into one map. No name may come twice. */
[[nodiscard]] std::string parseAttributes(const std::vector<std::string>& words, QVariantMap* attributes);

/** Parses JSON that has to be an object. `what` begins the text of an error. */
[[nodiscard]] std::string parseObject(const QByteArray& text, const std::string& what, QVariantMap* object);

/** A word of the command line as text; words that are no UTF-8 are refused. */
[[nodiscard]] std::string decodeWord(const std::string& word, const std::string& what, QString* text);

/** The same for a key, whose characters have to be those of Latin-1. */
[[nodiscard]] std::string decodeKey(const std::string& word, const std::string& what, QString* key);

/** An empty string or why the server would refuse the key. */
[[nodiscard]] std::string checkKey(const QString& key, const std::string& what);

} // namespace Ctl

#endif
