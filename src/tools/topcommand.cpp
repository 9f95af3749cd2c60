#include "tools/topcommand.h"

#include "tools/arguments.h"
#include "tools/topscreen.h"
#include "tools/toptext.h"

#include <CLI/CLI.hpp>

#include <cmath>

#include <unistd.h>

namespace Ctl {

TopCommand::TopCommand(CLI::App* app)
    : Command(app, "top", "Show what the server is doing, updated continually", "quorvactl top --interval 1")
{
    parser()
        ->add_option("--interval", interval_, "Seconds between updates")
        ->check(CLI::Range(0.1, 3600.0))
        ->type_name("FLOAT")
        ->capture_default_str();
    parser()
        ->add_option("--count", count_, "Print this many updates as text, instead of a screen until q or Ctrl-C")
        ->check(wholeNumber(1, "updates"));
}

int TopCommand::run(const ServerAddress& server)
{
    const std::chrono::milliseconds interval(std::llround(interval_ * 1000));
    if (count_ == 0 && ::isatty(STDOUT_FILENO) != 0)
        return TopScreen(server, interval).run();
    return TopText(server, interval, count_).run();
}

} // namespace Ctl
