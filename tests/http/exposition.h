#ifndef QUORVA_TESTS_HTTP_EXPOSITION_H
#define QUORVA_TESTS_HTTP_EXPOSITION_H

#include <map>
#include <string>

/**
 * Figures in Prometheus' text format 0.0.4, read strictly: anything that the format or its conventions for names do not
 * allow is a test failure.
 */
class Exposition {
public:
    explicit Exposition(const std::string& text);

    bool has(const std::string& sample) const { return samples_.count(sample) > 0; }
    /** The value of a sample as it is written: `name` or `name{label="value"}`. A test failure and 0 if missing. */
    double value(const std::string& sample) const;
    /** The sum over all samples that begin with this. */
    double sum(const std::string& beginning) const;

private:
    void readLine(const std::string& line);
    void readHelp(const std::string& line);
    void readType(const std::string& line);
    void readSample(const std::string& line);
    void checkName(const std::string& name, const std::string& labels);
    void checkBucket(const std::string& sample, double value);
    void endFamily();

    std::map<std::string, std::string> types_; // by family, of all times
    std::string family_;                       // the present one
    bool hasType_ = false;                     // its TYPE was read
    int familySamples_ = 0;
    double bucket_ = 0;     // the value of the latest, if the histogram has not ended
    double bucketEnd_ = -1; // its "le"; negative: none
    std::map<std::string, double> samples_;
};

#endif
