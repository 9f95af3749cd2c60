#ifndef QUORVA_TESTS_RECORDS_WALKFAILUREFIXTURE_H
#define QUORVA_TESTS_RECORDS_WALKFAILUREFIXTURE_H

#include "storage/bdbtxn.h"
#include "walkfixture.h"

class WalkFailureTest : public WalkTest {
protected:
    /** A failing scan must leave what was gathered before it unchanged. */
    void expectFailedScan(int rc, const std::vector<std::string>& lines, const Keys& start = {})
    {
        const Scanned before{
            .limit = 50, .count = 1, .scanned = 3, .items = {QVariantMap{{"x", "y"}}}, .lastHash = {}, .lastRange = {}};
        Scanned progress = before;
        LogCapture log;
        EXPECT_EQ(scan(start, {}, &progress), rc);
        EXPECT_EQ(progress, before);
        EXPECT_EQ(recordLines(log), lines);
    }

    void expectFailedQuery(const QueryRange& asked, int rc, const std::vector<std::string>& lines)
    {
        const Queried before{7, {"x"}, "y"};
        Queried result = before;
        LogCapture log;
        EXPECT_EQ(query(asked, &result), rc);
        EXPECT_EQ(result, before);
        EXPECT_EQ(recordLines(log), lines);
    }
};

#endif
