#include "tools/standardinput.h"

#include "base/fileio.h"
#include "tools/messages.h"

#include <cstddef>
#include <limits>
#include <string>

#include <unistd.h>

namespace Ctl {

bool readStandardInput(QByteArray* text)
{
    std::string bytes;
    if (Base::readAll(STDIN_FILENO, std::numeric_limits<std::size_t>::max(), &bytes) != 0) {
        complain("cannot read standard input");
        return false;
    }
    *text = QByteArray::fromStdString(bytes);
    return true;
}

} // namespace Ctl
