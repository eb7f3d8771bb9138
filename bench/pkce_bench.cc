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
const char kAccountFile[] = "/usr/vexo/etc/vexona-account/private/user.conf";

void BM_FreshAccessToken(benchmark::State &state) {
  BenchRoot root;
  // The token is handed out only while its account is the one signed in.
  root.WriteFile(kAccountFile, vexozeph::bench::SignedInAccountFile(std::time(nullptr)));
  root.WriteFile(kTokenFile, vexozeph::bench::FreshTokenFile(std::time(nullptr)));
  vexozeph::PkceClient client("tarn");
  try {
    for (auto _ : state) benchmark::DoNotOptimize(client.GetAccessToken());
  } catch (const std::exception &e) {
    state.SkipWithError(e.what());
  }
}
BENCHMARK(BM_FreshAccessToken);

// The job includes telling whose the token is: one parse of the token file and one read
// of the account file that says who is signed in.
void BM_FreshAccessTokenFloor(benchmark::State &state) {
  BenchRoot root;
  root.WriteFile(kAccountFile, vexozeph::bench::SignedInAccountFile(std::time(nullptr)));
  root.WriteFile(kTokenFile, vexozeph::bench::FreshTokenFile(std::time(nullptr)));
  const std::string path = root.Path(kTokenFile);
  const std::string account_path = root.Path(kAccountFile);
  char account[8192];
  for (auto _ : state) {
    if (!vexozeph::bench::StdioRead(account_path, account, sizeof(account))) {
      state.SkipWithError("account file not read");
      break;
    }
    benchmark::DoNotOptimize(account);
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
