#ifndef QUORVA_TESTS_SUPPORT_BLOCKEDCALL_H
#define QUORVA_TESTS_SUPPORT_BLOCKEDCALL_H

#include "support/waituntil.h"

#include <atomic>
#include <cstdint>
#include <fstream>
#include <future>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>

#include <sys/syscall.h>
#include <unistd.h>

/**
 * A call in a thread of its own, of which can be told that it waits, and for what: the kernel shows which system call a
 * thread sleeps in, and mutexes, condition variables and reader-writer locks all sleep in `futex`, whose first argument
 * is an address inside of them.
 */
template <typename Result> class BlockedCall {
public:
    template <typename Call>
    explicit BlockedCall(Call call)
        : result_(std::async(std::launch::async, [thread = thread_, call = std::move(call)] {
              *thread = static_cast<int>(::syscall(SYS_gettid));
              return call();
          }))
    {}

    /** Waits until the call sleeps inside of `object`. False when it comes to its end instead. */
    template <typename Object> [[nodiscard]] bool blocksIn(const Object& object) const
    {
        const auto begin = reinterpret_cast<std::uintptr_t>(&object);
        return waitUntil([&] { return isDone() || sleepsBetween(begin, begin + sizeof object); }) && !isDone();
    }

    /** Whether the call sleeps at this moment, in whatever it waits for. One that was woken does not. */
    [[nodiscard]] bool sleeps() const { return sleepsBetween(0, UINTPTR_MAX); }

    /** The call's result, once it has ended. */
    Result get() { return result_.get(); }

private:
    bool isDone() const { return result_.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }

    bool sleepsBetween(std::uintptr_t begin, std::uintptr_t end) const
    {
        std::ifstream file("/proc/self/task/" + std::to_string(*thread_) + "/syscall"); // "running", or numbers
        long number = -1;
        std::uintptr_t address = 0;
        return file >> number && number == SYS_futex && file >> std::hex >> address && address >= begin &&
               address < end;
    }

    std::shared_ptr<std::atomic<int>> thread_ = std::make_shared<std::atomic<int>>(0);
    std::future<Result> result_;
};

template <typename Call> BlockedCall(Call) -> BlockedCall<std::invoke_result_t<Call>>;

#endif
