#include "exposition.h"

#include "support/lines.h"
#include "support/patterns.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

const std::string LabelsPattern =
    R"re(\{[a-z_][a-z0-9_]*="(?:[^"\\\n]|\\["\\n])*"(?:,[a-z_][a-z0-9_]*="(?:[^"\\\n]|\\["\\n])*")*\})re";

double numberOf(const std::string& text)
{
    if (text == "+Inf")
        return std::numeric_limits<double>::infinity();
    std::size_t size = 0;
    const double number = std::stod(text, &size);
    EXPECT_EQ(size, text.size()) << text;
    EXPECT_TRUE(std::isfinite(number)) << text;
    return number;
}

} // namespace

Exposition::Exposition(const std::string& text)
{
    EXPECT_TRUE(text.ends_with('\n')) << text;
    for (const std::string& line : linesOf(text))
        readLine(line);
    endFamily();
}

double Exposition::value(const std::string& sample) const
{
    const auto found = samples_.find(sample);
    if (found != samples_.end())
        return found->second;
    ADD_FAILURE() << "there is no " << sample;
    return 0;
}

double Exposition::sum(const std::string& beginning) const
{
    double sum = 0;
    for (const auto& [sample, number] : samples_)
        sum += sample.starts_with(beginning) ? number : 0;
    return sum;
}

void Exposition::readLine(const std::string& line)
{
    SCOPED_TRACE(line);
    if (line.starts_with("# HELP "))
        readHelp(line);
    else if (line.starts_with("# TYPE "))
        readType(line);
    else
        readSample(line);
}

void Exposition::readHelp(const std::string& line)
{
    static const std::string pattern = "# HELP ([a-z_][a-z0-9_]*) ([^\\\\]+)";
    endFamily();
    const std::vector<std::string> found = Patterns::groupsOf(line, pattern);
    ASSERT_FALSE(found.empty());
    family_ = found[1];
    EXPECT_EQ(types_.count(family_), 0U) << "the family comes twice";
}

void Exposition::readType(const std::string& line)
{
    static const std::string pattern = "# TYPE ([a-z_][a-z0-9_]*) (counter|gauge|histogram)";
    const std::vector<std::string> found = Patterns::groupsOf(line, pattern);
    ASSERT_FALSE(found.empty());
    EXPECT_EQ(found[1], family_) << "the help of another one is in front";
    EXPECT_FALSE(hasType_);
    hasType_ = true;
    types_[family_] = found[2];
    EXPECT_EQ(family_.ends_with("_total"), found[2] == "counter") << "counters end so, and nothing else";
    for (const char* unit : {"milliseconds", "microseconds", "_kilobytes", "_ms", "_percent", "_gauge", "_counter"})
        EXPECT_EQ(family_.find(unit), std::string::npos) << "no base unit";
}

void Exposition::readSample(const std::string& line)
{
    static const std::string pattern = "([a-z_][a-z0-9_]*)(" + LabelsPattern + ")? ([^ ]+)";
    const std::vector<std::string> found = Patterns::groupsOf(line, pattern);
    ASSERT_FALSE(found.empty());
    EXPECT_TRUE(hasType_);
    ++familySamples_;
    const std::string sample = found[1] + found[2];
    const double number = numberOf(found[3]);
    EXPECT_GE(number, 0) << "none of these figures can be negative";
    EXPECT_TRUE(samples_.emplace(sample, number).second) << "the sample comes twice";
    checkName(found[1], found[2]);
    if (types_[family_] == "histogram")
        checkBucket(sample, number);
}

void Exposition::checkName(const std::string& name, const std::string& labels)
{
    const bool isBucket = name == family_ + "_bucket";
    if (types_[family_] == "histogram")
        EXPECT_TRUE(isBucket || name == family_ + "_sum" || name == family_ + "_count");
    else
        EXPECT_EQ(name, family_);
    EXPECT_EQ(labels.find("le=\"") != std::string::npos, isBucket) << "only buckets have this label";
}

/** The buckets of a histogram are sorted by bound, their counts do not decrease, and the last one has all. */
void Exposition::checkBucket(const std::string& sample, double value)
{
    const std::size_t le = sample.find("le=\"");
    if (le != std::string::npos) {
        const double end = numberOf(sample.substr(le + 4, sample.find('"', le + 4) - le - 4));
        EXPECT_GT(end, bucketEnd_);
        EXPECT_GE(value, bucketEnd_ < 0 ? 0 : bucket_);
        bucket_ = value;
        bucketEnd_ = end;
        return;
    }
    EXPECT_TRUE(std::isinf(bucketEnd_)) << "no bucket for all";
    if (sample.starts_with(family_ + "_count")) {
        EXPECT_EQ(value, bucket_);
        bucketEnd_ = -1;
    }
}

void Exposition::endFamily()
{
    EXPECT_TRUE(family_.empty() || familySamples_ > 0) << family_ << " has no sample";
    EXPECT_LT(bucketEnd_, 0) << "a histogram without its count";
    hasType_ = false;
    familySamples_ = 0;
}
