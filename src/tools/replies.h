#ifndef QUORVA_TOOLS_REPLIES_H
#define QUORVA_TOOLS_REPLIES_H

#include <QByteArray>
#include <QVariantMap>

#include <string>

/** Interpretation of the server's replies. */
namespace Ctl {

/** True when the text is a reply object whose "__rc" is 200. */
bool isSuccess(const QByteArray& reply);

/** True for a Not Found reply. */
bool isNotFound(const QVariantMap& reply);

/** True for a reply that reports a failed condition or another running backup. */
bool isConditionFailure(const QVariantMap& reply);

/** The server's text in an error reply: "Not Found, ResourceNotFoundException: Specified item does not exist." */
std::string serverSays(const QVariantMap& reply);

/**
 * Reports an error reply: `failed` says what could not be done, `advice` what to try. If empty, the advice depends on
 * the kind of error.
 */
void complainReply(const std::string& failed, const QVariantMap& reply, const std::string& advice = {});

} // namespace Ctl

#endif
