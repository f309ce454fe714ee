// The benchmark's report: a line after each repetition, and tables at the end.
#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

namespace bench {

// The counter that every benchmark sets in each repetition.
constexpr char kNanosecondsCounter[] = "ns/px";

// Tables in Markdown, one for each shape of picture. The rows are stages and variants, the columns megapixels
// per second, the median of nanoseconds per pixel over the repetitions, the smallest and largest, and the
// factor to the scalar reference. Benchmarks are named stage/picture/size/depth/variant.
class TableReporter : public benchmark::BenchmarkReporter {
  public:
    bool ReportContext(const Context& context) override;
    void ReportRuns(const std::vector<Run>& runs) override;
    void Finalize() override;

    bool AnyFailed() const { return failed_; }

  private:
    struct Row {
        std::string stage, variant;
        std::vector<double> nanoseconds;
    };
    void PrintShape(const std::string& shape, std::vector<Row>& rows);

    std::vector<std::string> shapes_;  // in the order of their first run
    std::map<std::string, std::vector<Row>> rows_;
    bool failed_ = false;
};

}  // namespace bench
