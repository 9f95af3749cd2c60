#include "tools/standardinput.h"

#include "tools/messages.h"

#include <cstdio>

namespace Ctl {

bool readStandardInput(QByteArray* text)
{
    char piece[65536];
    size_t size = 0;
    while ((size = std::fread(piece, 1, sizeof piece, stdin)) > 0)
        text->append(piece, static_cast<qsizetype>(size));
    if (std::ferror(stdin) == 0)
        return true;
    complain("cannot read standard input");
    return false;
}

} // namespace Ctl
