#ifndef QUORVA_TESTS_STORAGE_CHILDPROCESS_H
#define QUORVA_TESTS_STORAGE_CHILDPROCESS_H

#include <gtest/gtest.h>

#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>

/**
 * A forked child of the test, with a pipe on which it reports its progress. Create it while the test has a single
 * thread and no open environment: a forked copy of an environment would keep its directory locked.
 */
class ChildProcess {
public:
    /** Reports numbers to the test. */
    class Teller {
    public:
        explicit Teller(int descriptor) : descriptor_(descriptor) {}
        void tell(int number) const
        {
            if (write(descriptor_, &number, sizeof number) != static_cast<ssize_t>(sizeof number))
                _exit(2); // the test is gone
        }
        /** Reports 0 when all expectations held so far, else 1; then waits for the child to be killed. */
        void waitForKill() const
        {
            tell(testing::Test::HasFailure() ? 1 : 0);
            (void)pause();
        }

    private:
        int descriptor_;
    };

    /** Runs `work`, a `void(const Teller&)` callable, in the child, which then ends: status 1 if it failed an EXPECT.
     */
    template <typename Work> explicit ChildProcess(Work&& work)
    {
        int ends[2] = {-1, -1};
        if (pipe(ends) != 0)
            std::abort();
        (void)std::fflush(nullptr); // or the child would write our buffers again
        pid_ = fork();
        if (pid_ == 0) {
            (void)prctl(PR_SET_PDEATHSIG, SIGKILL); // nothing stays behind when the test is killed
            work(Teller(ends[1]));
            (void)std::fflush(nullptr);
            _exit(testing::Test::HasFailure() ? 1 : 0);
        }
        close(ends[1]);
        descriptor_ = ends[0];
    }
    ~ChildProcess()
    {
        if (pid_ > 0)
            kill();
        close(descriptor_);
    }
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    /** The next number that the child reports; false when it has ended, or reports none within a minute. */
    [[nodiscard]] bool hear(int* number) const
    {
        pollfd wanted{descriptor_, POLLIN, 0};
        return poll(&wanted, 1, 60000) == 1 &&
               read(descriptor_, number, sizeof *number) == static_cast<ssize_t>(sizeof *number);
    }

    /** Kills the child and waits for its end. */
    void kill()
    {
        (void)::kill(pid_, SIGKILL);
        (void)waitForExit(); // ignored: it was killed
    }

    /** Kills the child once it is in waitForKill(). */
    void killWhenReady()
    {
        int failed = 1;
        ASSERT_TRUE(hear(&failed));
        EXPECT_EQ(failed, 0);
        kill();
    }

    /** The exit status, or -1 when a signal ended it. */
    [[nodiscard]] int waitForExit()
    {
        int status = 0;
        if (waitpid(pid_, &status, 0) != pid_)
            return -1;
        pid_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    pid_t pid_ = -1;
    int descriptor_ = -1;
};

#endif
