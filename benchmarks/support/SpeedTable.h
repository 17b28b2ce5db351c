#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

namespace kyv::bench {

/// Collects the speeds of a run and prints them as one table: medians over the repetitions, beside
/// the memcpy of the same run.
class SpeedTable : public benchmark::BenchmarkReporter
{
public:
    static constexpr char memcpyName[] = "memcpy 16 MiB";

    /// The name under which \a direction ("encode" or "decode") of \a codec is registered.
    static std::string benchmarkName(const std::string &workload, const std::string &codec,
                                     const std::string &direction);

    /// Adds a row, in the order of the table; \a payloadBytes is what the codec makes of it.
    void describe(const std::string &workload, const std::string &codec, size_t spectra,
                  size_t points, double payloadBytes);

    bool ReportContext(const Context &context) override;
    void ReportRuns(const std::vector<Run> &runs) override;

    /// Prints the rows that were measured as a Markdown table.
    void print() const;

private:
    struct Row
    {
        std::string workload;
        std::string codec;
        size_t spectra;
        size_t points;
        double payloadBytes;
    };
    double medianSpeed(const std::string &name) const;

    std::vector<Row> m_rows;
    std::map<std::string, std::vector<double>> m_speeds; // bytes/s of each repetition, by name
};

} // namespace kyv::bench
