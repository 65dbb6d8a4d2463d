// The engine beside std::mt19937, the bounded draw beside
// std::uniform_int_distribution, and a UUID with its text beside libuuid.
#include <benchmark/benchmark.h>
#include <uuid/uuid.h>

#include <random>
#include <string>

#include "ky/random.h"
#include "ky/uuid.h"

namespace {

void BM_MtGenrandInt32(benchmark::State& state) {
  MtState* s = MT_create_rand(5489);
  for (auto _ : state) benchmark::DoNotOptimize(MT_genrand_int32(s));
  MT_destroy_rand(&s);
}
BENCHMARK(BM_MtGenrandInt32);

void BM_MtGenrandInt32Unlocking(benchmark::State& state) {
  MtState* s = MT_create_rand(5489);
  MT_lock_rand(s);
  for (auto _ : state) benchmark::DoNotOptimize(MT_genrand_int32_unlocking(s));
  MT_unlock_rand(s);
  MT_destroy_rand(&s);
}
BENCHMARK(BM_MtGenrandInt32Unlocking);

void BM_StdMt19937(benchmark::State& state) {
  std::mt19937 mt(5489);
  for (auto _ : state) benchmark::DoNotOptimize(mt());
}
BENCHMARK(BM_StdMt19937);

void BM_RandomGetBounded(benchmark::State& state) {
  ky::random r(5489);
  for (auto _ : state) benchmark::DoNotOptimize(r.get<unsigned>(0, 999));
}
BENCHMARK(BM_RandomGetBounded);

void BM_StdUniformIntDistribution(benchmark::State& state) {
  std::mt19937 mt(5489);
  std::uniform_int_distribution<unsigned> dist(0, 999);
  for (auto _ : state) benchmark::DoNotOptimize(dist(mt));
}
BENCHMARK(BM_StdUniformIntDistribution);

void BM_UuidStr(benchmark::State& state) {
  std::string text;
  for (auto _ : state) {
    ky::uuid u(true);
    benchmark::DoNotOptimize(u.str(text).data());
  }
}
BENCHMARK(BM_UuidStr);

void BM_LibuuidGenerateRandomUnparse(benchmark::State& state) {
  uuid_t u;
  char text[37];
  for (auto _ : state) {
    uuid_generate_random(u);
    uuid_unparse_lower(u, text);
    benchmark::DoNotOptimize(text);
  }
}
BENCHMARK(BM_LibuuidGenerateRandomUnparse);

}  // namespace

BENCHMARK_MAIN();
