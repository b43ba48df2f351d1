// What the benchmarks print beside the usual lines: how one time compares with another of the same run.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

enum TimeOf {
    TIME_OF_CPU,   // for work that waits for nothing
    TIME_OF_WALL,
};

// Run the benchmarks with this as their reporter, then ask it. Of a benchmark that is repeated the shortest time counts.
class Ratios : public benchmark::ConsoleReporter {
public:
    explicit Ratios(TimeOf what = TIME_OF_CPU) : time_of(what) {}

    void ReportRuns(const std::vector<Run> &runs) override
    {
        for (const Run &run : runs) {
            if (run.run_type != Run::RT_Iteration) continue;
            const double time = time_of == TIME_OF_CPU ? run.GetAdjustedCPUTime() : run.GetAdjustedRealTime();
            double &least = times[run.run_name.function_name];
            if (!least || time < least) least = time;
        }
        ConsoleReporter::ReportRuns(runs);
    }

    // Nothing if a filter of the command line left one of them out.
    void print(const std::string &what, const std::string &yardstick) const
    {
        const auto ours = times.find(what), theirs = times.find(yardstick);
        if (ours == times.end() || theirs == times.end()) return;
        printf("%s / %s = %.2f   (%.4g, %.4g)\n", what.c_str(), yardstick.c_str(), ours->second / theirs->second,
               ours->second, theirs->second);
    }

private:
    TimeOf time_of;
    std::map<std::string, double> times;
};
