// The key-value settings file: whatever the file held before, every key and value the
// writer accepts reads back exactly, and the reader never fails on what a file holds.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "fuzz/fuzz_root.h"
#include "kv_file.h"
#include "sz_containers.h"

namespace kv = vexo_platform::kv;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  FuzzedDataProvider input(data, size);
  const std::string path = vexozeph::fuzz::Root().Path("/etc/fuzz.conf");
  const std::string before = input.ConsumeRandomLengthString(2048);
  std::ofstream(path, std::ios::binary | std::ios::trunc) << before;

  // The reader on whatever the file holds.
  std::vector<char> buffer(8192);
  const std::string probe = input.ConsumeRandomLengthString(32);
  const int got = kv::Get(path.c_str(), probe.c_str(), buffer.data(), buffer.size());
  FUZZ_CHECK(got < 0 || static_cast<size_t>(got) < buffer.size());
  PVLIBSZLIST keys = vexo_platform::ListAlloc(16);
  FUZZ_CHECK(keys != nullptr);
  const int count = kv::Keys(path.c_str(), keys);
  FUZZ_CHECK(count >= 0);
  vexo_platform::ListFree(keys);

  // The writer, then every accepted pair read back; a key given twice keeps the last.
  const size_t pairs = input.ConsumeIntegralInRange<size_t>(1, 4);
  std::vector<std::string> names(pairs);
  std::vector<std::string> values(pairs);
  std::vector<const char *> name_ptrs(pairs);
  std::vector<const char *> value_ptrs(pairs);
  for (size_t i = 0; i < pairs; ++i) {
    names[i] = input.ConsumeRandomLengthString(24).c_str();
    values[i] = input.ConsumeRandomLengthString(256).c_str();
    name_ptrs[i] = names[i].c_str();
    value_ptrs[i] = values[i].c_str();
  }
  if (kv::SetMany(path.c_str(), name_ptrs.data(), value_ptrs.data(), pairs, nullptr) < 0) {
    return 0;
  }
  std::map<std::string, std::string> expected;
  for (size_t i = 0; i < pairs; ++i) expected[names[i]] = values[i];
  for (const auto &pair : expected) {
    const int length = kv::Get(path.c_str(), pair.first.c_str(), buffer.data(), buffer.size());
    FUZZ_CHECK(length >= 0);
    FUZZ_CHECK(pair.second == buffer.data());
    FUZZ_CHECK(kv::Check(path.c_str(), pair.first.c_str(), pair.second.c_str()) == 1);
  }
  return 0;
}
