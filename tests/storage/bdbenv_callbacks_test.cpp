#include "storage/bdbenv.h"

#include "loglines.h"
#include "replacedcalls.h"
#include "rows.h"
#include "support/tempenv.h"

#include <gmock/gmock.h>

#include <unistd.h>

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

using Feedback = void (*)(DbEnv*, int, int);

Feedback feedbackOf(DbEnv* env)
{
    Feedback feedback = nullptr;
    EXPECT_EQ(env->get_feedback(&feedback), 0);
    return feedback;
}

TEST(BDBEnvMessages, AreWrittenAsWholeLinesWithoutPrefix)
{
    BDBEnv env(16, DB_CXX_NO_EXCEPTIONS);
    void (*message)(const DbEnv*, const char*) = nullptr;
    env.get_msgcall(&message);
    LogCapture log;
    message(&env, "1234\tlocks held");
    message(&env, "100% of them");
    message(&env, "");
    EXPECT_EQ(log.text(), "1234\tlocks held\n100% of them\n\n");
}

TEST(BDBEnvMessages, AreNotSubjectToTheThreshold)
{
    BDBEnv env(16, DB_CXX_NO_EXCEPTIONS);
    void (*message)(const DbEnv*, const char*) = nullptr;
    env.get_msgcall(&message);
    LogCapture log(LogCrit + 1);
    message(&env, "text");
    EXPECT_EQ(log.text(), "text\n");
}

TEST(BDBEnvMessages, CarryTheStatisticsOfTheLibrary)
{
    TempEnv env;
    LogCapture log;
    EXPECT_EQ(env->lock_stat_print(0), 0);
    EXPECT_THAT(ownLines(log), Contains(testing::EndsWith("\tNumber of current locks")));
    EXPECT_THAT(ownLines(log), Not(Contains(StartsWith("["))));
}

TEST(BDBEnvErrors, AreErrorLinesWithoutTheLibrarysPrefix)
{
    BDBEnv env(16, DB_CXX_NO_EXCEPTIONS);
    env.set_errpfx("prefix");
    LogCapture log;
    env.errx("some %s text", "error");
    env.err(ENOENT, "cannot open");
    EXPECT_THAT(ownLines(log), ElementsAre("[ERROR] bdb # BDB: some error text",
                                           "[ERROR] bdb # BDB: cannot open: No such file or directory"));
}

TEST(BDBEnvErrors, CarryWhatTheLibraryComplainsAbout)
{
    TempEnv env;
    LogCapture log;
    DbTxn* txn = nullptr;
    EXPECT_EQ(env->txn_begin(nullptr, &txn, 0x40000000), EINVAL);
    EXPECT_THAT(ownLines(log), ElementsAre("[ERROR] bdb # BDB: BDB0055 illegal flag specified to txn_begin"));
}

TEST(BDBEnvFeedback, RecoveryOfAnEnvironmentIsReported)
{
    TempEnv env;
    ASSERT_EQ(putRow(env.index("orders"), nullptr, "key", "value"), 0);
    advanceClock(std::chrono::hours(1));
    LogCapture log;
    env.reopen();
    EXPECT_THAT(ownLines(log),
                ElementsAre(testing::MatchesRegex("\\[INFO\\] Env " + env.path() + " recoverd [0-9]+%%")));
}

TEST(BDBEnvFeedback, ReportNamesTheHomeAndHowFarItIs)
{
    TempEnv env;
    advanceClock(std::chrono::hours(1));
    LogCapture log;
    feedbackOf(env.get())(env.get(), DB_RECOVER, 42);
    EXPECT_THAT(ownLines(log), ElementsAre("[INFO] Env " + env.path() + " recoverd 42%%"));
}

TEST(BDBEnvFeedback, ReportWithoutAHomeGoesWithoutIt)
{
    BDBEnv env(16, DB_CXX_NO_EXCEPTIONS);
    advanceClock(std::chrono::hours(1)); // more than a minute later than any report before
    LogCapture log;
    feedbackOf (&env)(&env, DB_RECOVER, 42);
    EXPECT_EQ(ownLines(log).back(), "[INFO] Env  recoverd 42%%");
}

TEST(BDBEnvFeedback, OnlyRecoveryIsReported)
{
    TempEnv env;
    advanceClock(std::chrono::hours(1));
    LogCapture log;
    ASSERT_EQ(DB_RECOVER, 2);
    for (const int opcode : {0, 1, 3, 4, 99})
        feedbackOf(env.get())(env.get(), opcode, 42);
    EXPECT_THAT(ownLines(log), IsEmpty());
    feedbackOf(env.get())(env.get(), DB_RECOVER, 42); // the other codes did not count towards the minute
    EXPECT_EQ(log.count(" recoverd 42%%"), 1U);
}

TEST(BDBEnvFeedback, IsReportedOncePerMinuteForAllEnvironments)
{
    TempEnv first;
    TempEnv second;
    advanceClock(std::chrono::hours(1));
    LogCapture log;
    const Feedback feedback = feedbackOf(first.get());
    feedback(first.get(), DB_RECOVER, 1);
    feedback(first.get(), DB_RECOVER, 2);
    feedback(second.get(), DB_RECOVER, 3);
    advanceClock(std::chrono::seconds(58)); // the clock advances by itself as well
    feedback(second.get(), DB_RECOVER, 4);
    advanceClock(std::chrono::seconds(3));
    feedback(second.get(), DB_RECOVER, 5);
    feedback(first.get(), DB_RECOVER, 6);
    EXPECT_THAT(ownLines(log), ElementsAre("[INFO] Env " + first.path() + " recoverd 1%%",
                                           "[INFO] Env " + second.path() + " recoverd 5%%"));
}

TEST(BDBEnvFeedbackDeathTest, FirstReportOfAProcessIsImmediate)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe"; // a process of its own from the start
    EXPECT_EXIT(
        {
            Log::setDestination(stderr);
            BDBEnv env(16, DB_CXX_NO_EXCEPTIONS);
            feedbackOf (&env)(&env, DB_RECOVER, 7);
            _exit(0);
        },
        testing::ExitedWithCode(0), "\\[INFO\\] Env  recoverd 7%%");
}

} // namespace
