#ifndef QUORVA_JSON_JSONMEMBERS_H
#define QUORVA_JSON_JSONMEMBERS_H

#include <QByteArray>
#include <QByteArrayView>

#include <algorithm>
#include <vector>

namespace Json {

/** One member of an object, as spelled in the object's text. */
struct Member {
    QByteArray name;         // UTF-8; like the other two it may point into the text
    QByteArrayView nameText; // the name with its quotes and escapes
    QByteArrayView value;    // without the white space around it

    bool isNamed(QByteArrayView utf8) const { return std::equal(name.begin(), name.end(), utf8.begin(), utf8.end()); }
};

/**
 * Finds the members of any JSON object, in the order of the text, so that most of them can be passed on unchanged.
 * False if the text is not JSON or not an object; `members` is then unspecified. Any thread. Meant for replies of the
 * server: it accepts any depth, does not check for lone surrogates, and is fastest with text in the server's own form.
 */
[[nodiscard]] bool findMembers(QByteArrayView text, std::vector<Member>* members);

} // namespace Json

#endif
