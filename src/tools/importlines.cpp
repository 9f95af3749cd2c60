#include "tools/importlines.h"

#include <cstddef>

namespace Ctl {

void ImportLines::addRefused()
{
    ++all_.refused;
    add(Outcome::Refused);
}

void ImportLines::setStored(long long line)
{
    ++all_.stored;
    set(line, Outcome::Stored);
}

void ImportLines::setRefused(long long line)
{
    ++all_.refused;
    doubtful_.push_back(line);
}

void ImportLines::confirmRefused()
{
    for (const long long line : doubtful_)
        set(line, Outcome::Refused);
    doubtful_.clear();
}

ImportMark ImportLines::all() const
{
    return {mark_.line + static_cast<long long>(beyond_.size()), all_.stored, all_.refused};
}

void ImportLines::add(Outcome outcome)
{
    beyond_.push_back(outcome);
    moveMark();
}

void ImportLines::set(long long line, Outcome outcome)
{
    beyond_[static_cast<std::size_t>(line - mark_.line - 1)] = outcome;
    moveMark();
}

void ImportLines::moveMark()
{
    for (; !beyond_.empty() && beyond_.front() != Outcome::Open; beyond_.pop_front()) {
        ++mark_.line;
        mark_.stored += beyond_.front() == Outcome::Stored ? 1 : 0;
        mark_.refused += beyond_.front() == Outcome::Refused ? 1 : 0;
    }
}

} // namespace Ctl
