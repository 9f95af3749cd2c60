#ifndef QUORVA_TOOLS_STANDARDINPUT_H
#define QUORVA_TOOLS_STANDARDINPUT_H

#include <QByteArray>

namespace Ctl {

/** Everything that standard input has. False, after telling, when it cannot be read. */
[[nodiscard]] bool readStandardInput(QByteArray* text);

} // namespace Ctl

#endif
