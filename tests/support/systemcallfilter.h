#ifndef QUORVA_TESTS_SUPPORT_SYSTEMCALLFILTER_H
#define QUORVA_TESTS_SUPPORT_SYSTEMCALLFILTER_H

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>

#include <cstddef>
#include <initializer_list>
#include <thread>
#include <vector>

/**
 * Runs `action` on its own thread in which the system calls with these numbers fail with `error`: for failures that no
 * limit or argument can provoke. Returns false, without running `action`, when the system has no such filters.
 */
template <typename Action>
[[nodiscard]] bool runWithFailingCalls(std::initializer_list<unsigned> numbers, unsigned error, Action action)
{
    std::vector<sock_filter> program{BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr))};
    for (const unsigned number : numbers) {
        program.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, number, 0, 1));
        program.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | error));
    }
    program.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));

    bool filtered = false;
    std::thread([&] {
        const sock_fprog filter{static_cast<unsigned short>(program.size()), program.data()};
        filtered =
            prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
        if (filtered)
            action();
    }).join();
    return filtered;
}

#endif
