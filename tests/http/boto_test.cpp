#include "http/httpprocess.h"
#include "support/programrun.h"
#include "support/serverprocess.h"
#include "support/tempdir.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace {

using testing::HasSubstr;
using testing::Not;

/**
 * Runs one class of boto_client.py. The point is that an unmodified client works, so it is the packaged one, run by the
 * system's Python and isolated from the user's environment, which might set a proxy, a configuration or credentials.
 */
class Boto : public testing::TestWithParam<const char*> {};

} // namespace

TEST_P(Boto, Works)
{
    ServerProcess server;
    ASSERT_TRUE(server.start());
    HttpProcess http;
    ASSERT_TRUE(http.start(server.port()));
    const std::string tables = server.makeDirectory("tables");
    const TempDir home;
    const ProgramRun run =
        runProgram("/usr/bin/env", {"-i", "HOME=" + home.path(), "PATH=/usr/bin:/bin", "/usr/bin/python3", "-E", "-s",
                                    "-B", BOTO_CLIENT, std::to_string(http.port()), tables, GetParam()});
    EXPECT_EQ(run.status, 0) << run.output << run.error;
    EXPECT_THAT(run.error, Not(HasSubstr("Ran 0 tests"))); // it would count as a success
}

INSTANTIATE_TEST_SUITE_P(Client, Boto,
                         testing::Values("Tables", "Items", "Updates", "Queries", "Scans", "Batches", "LayerOne"),
                         [](const auto& instance) { return std::string(instance.param); });
