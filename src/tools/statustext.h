#ifndef QUORVA_TOOLS_STATUSTEXT_H
#define QUORVA_TOOLS_STATUSTEXT_H

#include "client/serverstatus.h"

#include <QByteArray>

#include <string>

/** A server's status for people. */
namespace StatusText {

/** What an operator wants to see first, in lines; `address` is where the server was found. */
QByteArray of(const std::string& address, const Client::ServerStatus& status);

} // namespace StatusText

#endif
