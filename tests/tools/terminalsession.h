#ifndef QUORVA_TESTS_TOOLS_TERMINALSESSION_H
#define QUORVA_TESTS_TOOLS_TERMINALSESSION_H

#include "support/programrun.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include <poll.h>
#include <pty.h>
#include <unistd.h>

/** A program with its own terminal of 80 columns and 24 rows, whose keyboard the test controls. */
class TerminalSession {
public:
    /** `variables` are "NAME=VALUE", for the program's environment. */
    TerminalSession(const std::vector<std::string>& words, const std::vector<std::string>& variables)
    {
        winsize size{};
        size.ws_row = 24;
        size.ws_col = 80;
        std::vector<std::string> all{"/usr/bin/env"};
        all.insert(all.end(), variables.begin(), variables.end());
        all.insert(all.end(), words.begin(), words.end());
        std::vector<char*> arguments;
        for (std::string& word : all)
            arguments.push_back(word.data());
        arguments.push_back(nullptr);
        id_ = forkpty(&terminal_, nullptr, nullptr, &size);
        if (id_ == 0) {
            execv(arguments.front(), arguments.data());
            _exit(127);
        }
        EXPECT_GT(id_, 0);
    }
    ~TerminalSession()
    {
        if (id_ > 0) {
            kill(id_, SIGKILL);
            (void)reapProgram(id_);
        }
        close(terminal_);
    }
    TerminalSession(const TerminalSession&) = delete;
    TerminalSession& operator=(const TerminalSession&) = delete;

    /** Types keys. */
    void type(const std::string& keys) const
    {
        EXPECT_EQ(write(terminal_, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
    }

    /** Waits until this text appears after what earlier calls have waited for. Fails the test if it does not. */
    bool sees(const std::string& text)
    {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (shown_.find(text, seen_) == std::string::npos) {
            if (std::chrono::steady_clock::now() > end || !readMore()) {
                ADD_FAILURE() << "no " << testing::PrintToString(text) << " in "
                              << testing::PrintToString(shown_.substr(seen_));
                return false;
            }
        }
        seen_ = shown_.find(text, seen_) + text.size();
        return true;
    }

    /** All that was shown so far. */
    const std::string& shown() const { return shown_; }
    pid_t id() const { return id_; }

    /** Waits for the program's end. Returns its exit status as reapProgram() does. */
    int wait()
    {
        while (readMore()) {
        }
        return reapProgram(std::exchange(id_, -1));
    }

private:
    /** Waits for output, up to a minute. Returns false at its end. */
    bool readMore()
    {
        pollfd watched{terminal_, POLLIN, 0};
        char piece[4096];
        if (poll(&watched, 1, 60000) <= 0)
            return false;
        const ssize_t size = read(terminal_, piece, sizeof piece);
        if (size > 0)
            shown_.append(piece, static_cast<std::size_t>(size));
        return size > 0;
    }

    int terminal_ = -1;
    pid_t id_ = -1;
    std::string shown_;
    std::size_t seen_ = 0;
};

#endif
