// Handing out a fresh access token (no renewal due) against one parse of the token file.
#include <benchmark/benchmark.h>
#include <json/value.h>

#include <ctime>
#include <exception>

#include "bench_root.h"
#include "internal/json_utils.h"
#include "vexozeph/pkce_client.h"

namespace {

using vexozeph::bench::BenchRoot;

const char kTokenFile[] = "/usr/vexo/etc/vexona-account/private/tarn_token.json";

void BM_FreshAccessToken(benchmark::State &state) {
  BenchRoot root;
  root.WriteFile(kTokenFile, vexozeph::bench::FreshTokenFile(std::time(nullptr)));
  vexozeph::PkceClient client("tarn");
  try {
    for (auto _ : state) benchmark::DoNotOptimize(client.GetAccessToken());
  } catch (const std::exception &e) {
    state.SkipWithError(e.what());
  }
}
BENCHMARK(BM_FreshAccessToken);

void BM_FreshAccessTokenFloor(benchmark::State &state) {
  BenchRoot root;
  root.WriteFile(kTokenFile, vexozeph::bench::FreshTokenFile(std::time(nullptr)));
  const std::string path = root.Path(kTokenFile);
  for (auto _ : state) {
    Json::Value token;
    if (!vexozeph::json::FromFile(path, token)) {
      state.SkipWithError("token file not parsed");
      break;
    }
    benchmark::DoNotOptimize(token["access_token"].asString());
  }
}
BENCHMARK(BM_FreshAccessTokenFloor);

}  // namespace
