#include "SpeedTable.h"

#include <algorithm>
#include <cstdio>

namespace kyv::bench {

std::string SpeedTable::benchmarkName(const std::string &workload, const std::string &codec,
                                      const std::string &direction)
{
    return workload + "/" + codec + "/" + direction;
}

void SpeedTable::describe(const std::string &workload, const std::string &codec, size_t spectra,
                          size_t points, double payloadBytes)
{
    m_rows.push_back({workload, codec, spectra, points, payloadBytes});
}

bool SpeedTable::ReportContext(const Context &context)
{
    PrintBasicContext(&GetErrorStream(), context);
    return true;
}

void SpeedTable::ReportRuns(const std::vector<Run> &runs)
{
    for (const Run &run : runs) {
        const auto speed = run.counters.find("bytes_per_second");
        if (run.run_type != Run::RT_Iteration || speed == run.counters.end())
            continue;
        m_speeds[run.run_name.function_name].push_back(speed->second);
        std::fprintf(stderr, "%-44s %9.0f MB/s\n", run.run_name.function_name.c_str(),
                     speed->second / 1e6);
    }
}

double SpeedTable::medianSpeed(const std::string &name) const
{
    const auto found = m_speeds.find(name);
    if (found == m_speeds.end())
        return 0;
    std::vector<double> speeds = found->second;
    const auto middle = speeds.begin() + long(speeds.size() / 2);
    std::nth_element(speeds.begin(), middle, speeds.end());
    return *middle;
}

void SpeedTable::print() const
{
    const double memcpySpeed = medianSpeed(memcpyName);
    std::printf("memcpy between two buffers of 16 MiB: %.0f MB/s. MB are 10^6 bytes of points, 16 "
                "bytes each.\n\n",
                memcpySpeed / 1e6);
    std::printf("| spectra                  | codec    | points  | bytes/point "
                "| encode MB/s | of memcpy | decode MB/s | of memcpy | decode ns/point |\n"
                "|--------------------------|----------|--------:|------------:"
                "|------------:|----------:|------------:|----------:|----------------:|\n");
    for (const Row &row : m_rows) {
        const double encode = medianSpeed(benchmarkName(row.workload, row.codec, "encode"));
        const double decode = medianSpeed(benchmarkName(row.workload, row.codec, "decode"));
        if (encode <= 0 && decode <= 0)
            continue;
        const std::string title = row.workload + " (" + std::to_string(row.spectra) + ")";
        const double reference = memcpySpeed > 0 ? memcpySpeed : 1e300;
        std::printf("| %-24s | %-8s | %7zu | %11.2f | %11.0f | %9.3f | %11.0f | %9.3f | %15.2f |\n",
                    title.c_str(), row.codec.c_str(), row.points,
                    row.payloadBytes / double(row.points), encode / 1e6, encode / reference,
                    decode / 1e6, decode / reference, decode > 0 ? 16e9 / decode : 0);
    }
}

} // namespace kyv::bench
