// What a handle costs: made and ended, and made, given a picture of 1 x 1 and ended.
#include <benchmark/benchmark.h>
#include <kestr/kestr.h>

namespace {

void NewSession(benchmark::State& state) {
    for (auto _ : state) {
        const HKESTRSESSION session = cNewSession();
        benchmark::DoNotOptimize(session);
        cDestroySession(session);
    }
}
BENCHMARK(NewSession);

void NewSessionWithImage(benchmark::State& state) {
    for (auto _ : state) {
        const HKESTRSESSION session = cNewSession();
        cNewImage(session, 1, 1, 0);
        cDestroySession(session);
    }
}
BENCHMARK(NewSessionWithImage);

}  // namespace
