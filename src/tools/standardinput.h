#ifndef QUORVA_TOOLS_STANDARDINPUT_H
#define QUORVA_TOOLS_STANDARDINPUT_H

#include <QByteArray>

namespace Ctl {

/** Reads all of standard input. Returns false, after reporting it, when it cannot be read. */
[[nodiscard]] bool readStandardInput(QByteArray* text);

} // namespace Ctl

#endif
