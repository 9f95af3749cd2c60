#ifndef QUORVA_TESTS_SUPPORT_BLOCKEDCALL_H
#define QUORVA_TESTS_SUPPORT_BLOCKEDCALL_H

#include "support/background.h"
#include "support/waituntil.h"

#include <atomic>
#include <cstdint>
#include <fstream>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

/**
 * A call on its own thread that a test can observe to be blocked, and on which object: the kernel shows the system call
 * that a thread sleeps in, and mutexes, condition variables and reader-writer locks all sleep in `futex`, whose first
 * argument is an address inside the object.
 */
template <typename Result> class BlockedCall {
public:
    explicit BlockedCall(std::function<Result()> call)
        : result_(inBackground([thread = thread_, call = std::move(call)] {
              *thread = static_cast<int>(::syscall(SYS_gettid));
              return call();
          }))
    {}

    /** Waits until the call is blocked on `object`. Returns false when it returns instead. */
    template <typename Object> [[nodiscard]] bool blocksIn(const Object& object) const
    {
        const auto begin = reinterpret_cast<std::uintptr_t>(&object);
        return waitUntil([&] {
                   const Sleep sleep = currentSleep();
                   return isDone() || (sleep.address >= begin && sleep.address < begin + sizeof object);
               }) &&
               !isDone();
    }

    /**
     * Whether the call is currently waiting on a condition variable, as in a lock whose internals are inaccessible.
     * False for a call that has been woken, and for one that blocks briefly on a mutex, such as the allocator's.
     */
    [[nodiscard]] bool sleeps() const { return (currentSleep().operation & FUTEX_CMD_MASK) == FUTEX_WAIT_BITSET; }

    /** The call's result, once it has ended. */
    Result get() { return result_.get(); }

private:
    bool isDone() const { return result_.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }

    /** The first two arguments of `futex`; zeros when the thread is not in it. */
    struct Sleep {
        std::uintptr_t address = 0;
        unsigned long operation = 0; // 0 is FUTEX_WAIT, as used by mutexes
    };

    Sleep currentSleep() const
    {
        std::ifstream file("/proc/self/task/" + std::to_string(*thread_) + "/syscall"); // "running", or numbers
        long number = -1;
        Sleep sleep;
        if (file >> number && number == SYS_futex && file >> std::hex >> sleep.address >> sleep.operation)
            return sleep;
        return {};
    }

    std::shared_ptr<std::atomic<int>> thread_ = std::make_shared<std::atomic<int>>(0);
    std::future<Result> result_;
};

template <typename Call> BlockedCall(Call) -> BlockedCall<std::invoke_result_t<Call>>;

#endif
