// The request token against its floor: the same 32 MD5 digests with one context and one
// looked-up MD5, and nothing else (no hex text, no copies).
#include <benchmark/benchmark.h>
#include <openssl/evp.h>

#include <cstring>
#include <string>

#include "base/request_token.h"

namespace {

// "SN0000": its digest begins with "f", so the token takes all sixteen passes.
const char kSixteenPassInput[] = "SN0000";

void BM_RequestToken(benchmark::State &state) {
  std::string token;
  for (auto _ : state) {
    if (!vexozeph::RequestTokenFromInput(kSixteenPassInput, token)) {
      state.SkipWithError("no token");
      break;
    }
    benchmark::DoNotOptimize(token);
  }
}
BENCHMARK(BM_RequestToken);

void BM_RequestTokenFloor(benchmark::State &state) {
  EVP_MD *md5 = EVP_MD_fetch(nullptr, "MD5", nullptr);
  EVP_MD_CTX *ctx = EVP_MD_CTX_new();
  // The digests of a sixteen-pass token: the input and the input with a digest appended,
  // then fifteen times a digest and a digest with a digest appended.
  const size_t input = std::strlen(kSixteenPassInput);
  size_t sizes[32] = {input, input + 32};
  for (int i = 2; i < 32; i += 2) {
    sizes[i] = 32;
    sizes[i + 1] = 64;
  }
  char text[128];
  std::memset(text, 'a', sizeof(text));
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  for (auto _ : state) {
    for (size_t size : sizes) {
      EVP_DigestInit_ex(ctx, md5, nullptr);
      EVP_DigestUpdate(ctx, text, size);
      EVP_DigestFinal_ex(ctx, digest, &length);
      text[0] = static_cast<char>(digest[0]);  // each digest feeds the next, as in the token
    }
    benchmark::DoNotOptimize(digest);
  }
  EVP_MD_CTX_free(ctx);
  EVP_MD_free(md5);
}
BENCHMARK(BM_RequestTokenFloor);

}  // namespace
