#ifndef QUORVA_HTTP_RESUMEDQUERY_H
#define QUORVA_HTTP_RESUMEDQUERY_H

#include <QVariantMap>

namespace Http {

/**
 * At the server the start key of a Query takes the place of its condition's value, so that the second page of a
 * BEGINS_WITH would look for keys that begin with the last one. Puts a condition into such a body that gives the pages
 * which the client asks for. False, `body` unchanged, when the body is no such one.
 */
[[nodiscard]] bool makeResumable(QVariantMap* body);

} // namespace Http

#endif
