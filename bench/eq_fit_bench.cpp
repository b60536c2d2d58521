// Times the EQ3 fit: 300 whole EQ3 7-Band instances of generated settings,
// each fitted afresh (no cache): processor time per instance, and the worst
// distance reached. Built on demand (cmake -DTRELLUM_BENCH=ON); scripts/bench
// runs it.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <thread>
#include <vector>

#include "standins/eq3.h"

namespace {

// A small deterministic generator, so every run times the same settings.
struct Generator {
    uint64_t state = 0x9E3779B97F4A7C15ull;
    double next() {
        state = state * 6364136223846793005ull + 1442695040888963407ull;
        return double(state >> 11) / double(1ull << 53);
    }
    double between(double low, double high) { return low + (high - low) * next(); }
    double logBetween(double low, double high) { return low * std::pow(high / low, next()); }
};

// Control values of an EQ3 7-Band: every band in, shelves and filters by chance.
std::vector<float> generatedSevenBand(Generator& g) {
    std::vector<float> v(38, 0.0f);
    v[5] = g.next() < 0.8f ? 1 : 0, v[6] = g.next() < 0.5 ? 1 : 0, v[7] = float(g.between(1, 10));
    v[8] = float(int(g.between(0, 4))), v[9] = float(g.logBetween(20, 8000));
    const double low[5] = {20, 40, 125, 1, 1800}, high[5] = {500, 1000, 8000, 18000, 20000};
    const int bases[5] = {10, 15, 19, 23, 27};
    for (int k = 0; k < 5; ++k) {
        v[bases[k]] = 1;
        v[bases[k] + 1] = float(g.between(-18, 18));
        v[bases[k] + 2] = float(g.logBetween(std::max(low[k], 20.0), high[k]));
        v[bases[k] + 3] = float(g.logBetween(0.1, 10));
    }
    v[14] = g.next() < 0.5 ? 1 : 0, v[31] = g.next() < 0.5 ? 1 : 0;
    v[32] = 1, v[33] = g.next() < 0.5 ? 1 : 0, v[34] = 1, v[35] = float(int(g.between(0, 4)));
    v[36] = float(g.logBetween(120, 20000));
    return v;
}

// The 300 settings every benchmark fits, the same in every run.
std::vector<std::vector<float>> generatedSettings() {
    Generator g;
    std::vector<std::vector<float>> settings;
    for (int k = 0; k < 300; ++k) settings.push_back(generatedSevenBand(g));
    return settings;
}

void fitSevenBand(benchmark::State& state) {
    const std::vector<std::vector<float>> settings = generatedSettings();
    const double rate = state.range(0);
    double worst = 0.0;
    int64_t instances = 0, fitted = 0, extra = 0, beyondHalfDb = 0;
    for (auto _ : state) {
        for (const std::vector<float>& values : settings) {
            EqFitRun run;
            const StandinResult result = writeEq3(values, true, {3, 0, 0, false, false, 0, 2, rate}, run);
            benchmark::DoNotOptimize(result.text.data());
            worst = std::max(worst, run.worstError);
            fitted += run.fittedBands, extra += run.extraBands, beyondHalfDb += run.worstError > 0.5;
            ++instances;
        }
    }
    state.counters["s_per_instance"] =
        benchmark::Counter(double(instances), benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    state.counters["worst_dB"] = worst;
    state.counters["fitted_per_instance"] = double(fitted) / double(instances);
    state.counters["extra_bands_per_instance"] = double(extra) / double(instances);
    state.counters["share_beyond_0.5dB"] = double(beyondHalfDb) / double(instances);
}

// The same 300 instances as one session converts them: every band fitted
// first on the machine's cores, then each instance written from the fits.
// Wall time per instance: the goal is 2 ms, so that 500 distinct EQ3s add
// under a second.
void fitSessionOfSevenBands(benchmark::State& state) {
    const std::vector<std::vector<float>> settings = generatedSettings();
    const double rate = state.range(0);
    int64_t instances = 0;
    for (auto _ : state) {
        EqFitRun run;
        std::vector<EqBandPlan> plans;
        for (const std::vector<float>& values : settings) {
            for (EqBandPlan& plan : eq3BandsToFit(values, true, rate)) plans.push_back(std::move(plan));
        }
        prefitBands(plans, rate, run, 8);
        for (const std::vector<float>& values : settings) {
            const StandinResult result = writeEq3(values, true, {3, 0, 0, false, false, 0, 2, rate}, run);
            benchmark::DoNotOptimize(result.text.data());
            ++instances;
        }
    }
    state.counters["s_per_instance"] =
        benchmark::Counter(double(instances), benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    state.counters["cores"] = double(std::thread::hardware_concurrency());
}

}  // namespace

BENCHMARK(fitSevenBand)->Arg(44100)->Arg(48000)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(fitSessionOfSevenBands)->Arg(44100)->Arg(48000)->Unit(benchmark::kMillisecond)->Iterations(1)->UseRealTime();
BENCHMARK_MAIN();
