#ifndef QUORVA_TOOLS_STATUSTEXT_H
#define QUORVA_TOOLS_STATUSTEXT_H

#include "client/serverstatus.h"

#include <QByteArray>

#include <string>

/** A server's status in readable form. */
namespace StatusText {

/** The status as lines, the most important ones first; `address` is that of the server. */
QByteArray of(const std::string& address, const Client::ServerStatus& status);

} // namespace StatusText

#endif
