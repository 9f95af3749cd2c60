#include "tools/topscreen.h"

#include <algorithm>
#include <utility>

namespace Ctl {

namespace {

constexpr const char* Help = "q quit   sort: r rate  f failed  m median  p 99 %  x max  n name   arrows scroll";

using Order = TopView::Order;
constexpr std::pair<char, Order> Orders[] = {{'r', Order::Rate},       {'f', Order::Failed},  {'m', Order::Median},
                                             {'p', Order::Percentile}, {'x', Order::Slowest}, {'n', Order::Name}};

} // namespace

bool TopScreen::onNews(StatusFeed::News news)
{
    hasFailed_ = news == StatusFeed::News::Failure;
    return draw();
}

bool TopScreen::onKey()
{
    const int key = screen_.takeKey();
    if (key == 'q' || key == Screen::Gone)
        return false;
    if (key == Screen::Up)
        --firstLine_;
    if (key == Screen::Down)
        ++firstLine_;
    for (const auto& [letter, order] : Orders) {
        if (key == letter)
            view()->setOrder(order);
    }
    return draw();
}

bool TopScreen::onStop()
{
    screen_.leave();
    const bool goesOn = TopLoop::onStop();
    screen_.enter();
    return goesOn && draw();
}

bool TopScreen::draw()
{
    std::vector<std::string> shown = lines(Screen::size().columns);
    if (shown.empty())
        shown.emplace_back("waiting for the server's status");
    const int hidden = std::max(static_cast<int>(shown.size()) - (Screen::size().lines - 1), 0);
    firstLine_ = std::clamp(firstLine_, 0, hidden);
    shown.erase(shown.begin(), shown.begin() + firstLine_);
    return screen_.draw(shown, hasFailed_ ? failure() + "; trying again" : Help);
}

} // namespace Ctl
