#include <chrono>
#include <thread>

#include <pthread.h>
#include <signal.h>

extern "C" {
void __gcov_dump();
void __gcov_reset();
}

/**
 * Part of the server in coverage builds: it ends without running destructors, by SIGKILL in most tests, so its counters
 * would be lost. Instead, a thread writes them out every tenth of a second.
 */
namespace {

const bool started = [] {
    std::thread([] {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_BLOCK, &all, nullptr);
        for (;;) {
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
            __gcov_dump();
            __gcov_reset();
        }
    }).detach();
    return true;
}();

} // namespace
