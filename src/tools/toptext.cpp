#include "tools/toptext.h"

#include "tools/messages.h"
#include "tools/units.h"

#include <QByteArray>

#include <ctime>
#include <utility>

namespace Ctl {

bool TopText::onNews(StatusFeed::News news)
{
    const bool isStatus = news == StatusFeed::News::Status;
    if (isStatus && std::exchange(isFirst_, false))
        return true;
    setExitCode(isStatus ? ExitOk : ExitNoReply);
    return print(isStatus ? lines() : std::vector{failure() + "; trying again"});
}

bool TopText::print(const std::vector<std::string>& block)
{
    std::string text = Units::date(static_cast<double>(std::time(nullptr))) + '\n';
    for (const std::string& line : block)
        text += line + '\n';
    if (const int code = printLine(QByteArray::fromStdString(text))) {
        setExitCode(code);
        return false;
    }
    return ++printed_ != count_;
}

} // namespace Ctl
