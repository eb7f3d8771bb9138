// A throwaway appliance root for the benchmarks: the library's absolute paths land under
// a temporary directory for as long as the object lives.
#ifndef VEXOZEPH_BENCH_BENCH_ROOT_H_
#define VEXOZEPH_BENCH_BENCH_ROOT_H_

#include <cstddef>
#include <string>

namespace vexozeph {
namespace bench {

class BenchRoot {
 public:
  BenchRoot();
  ~BenchRoot();
  BenchRoot(const BenchRoot &) = delete;
  BenchRoot &operator=(const BenchRoot &) = delete;

  // `absolute` under the root.
  std::string Path(const std::string &absolute) const { return dir_ + absolute; }
  // Writes `text` to `absolute` under the root, mode 0600.
  void WriteFile(const std::string &absolute, const std::string &text) const;

 private:
  std::string dir_;
};

// The account file of a signed-in appliance whose last query was at `last_query_time`,
// every key present, as a synchronised account leaves it.
std::string SignedInAccountFile(long long last_query_time);

// One stdio read of `path` into `buffer`, the least a reader of a small file does. False
// when nothing was read.
bool StdioRead(const std::string &path, char *buffer, size_t size);

// A token file as a fresh sign-in leaves it, saved at `created_at`, of the account in
// SignedInAccountFile (a token is handed out only to the account it names).
std::string FreshTokenFile(long long created_at);

}  // namespace bench
}  // namespace vexozeph

#endif  // VEXOZEPH_BENCH_BENCH_ROOT_H_
