#ifndef QUORVA_TOOLS_REPLIES_H
#define QUORVA_TOOLS_REPLIES_H

#include <QByteArray>
#include <QVariantMap>

#include <string>

/** What the server's replies say. */
namespace Ctl {

/** True when the text is a reply object whose "__rc" is 200. */
bool isSuccess(const QByteArray& reply);

/** True for a reply that says Not Found. */
bool isNotFound(const QVariantMap& reply);

/** True for a reply that says that a condition did not hold, or that another backup is running. */
bool isConditionFailure(const QVariantMap& reply);

/** The server's words in an error reply: "Not Found, ResourceNotFoundException: Specified item does not exist." */
std::string serverSays(const QVariantMap& reply);

/**
 * Tells of an error reply: `failed` is what could not be done, `advice` what to try. Without advice there is one that
 * goes by the kind of the error.
 */
void complainReply(const std::string& failed, const QVariantMap& reply, const std::string& advice = {});

} // namespace Ctl

#endif
