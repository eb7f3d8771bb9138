#include "bench_root.h"

#include <stdlib.h>
#include <sys/stat.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace vexozeph {
namespace bench {

BenchRoot::BenchRoot() {
  std::string pattern = (std::filesystem::temp_directory_path() / "vexozeph-bench-XXXXXX").string();
  if (mkdtemp(&pattern[0]) == nullptr) throw std::runtime_error("mkdtemp failed");
  dir_ = pattern;
  std::filesystem::create_directories(dir_ + "/usr/vexo/etc/vexona-account/private");
  std::filesystem::create_directories(dir_ + "/tmp");
  setenv("VEXOZEPH_ROOT", dir_.c_str(), 1);
}

BenchRoot::~BenchRoot() {
  unsetenv("VEXOZEPH_ROOT");
  std::error_code ignored;
  std::filesystem::remove_all(dir_, ignored);
}

void BenchRoot::WriteFile(const std::string &absolute, const std::string &text) const {
  const std::string path = Path(absolute);
  std::ofstream out(path, std::ios::trunc);
  out << text;
  out.close();
  if (!out || ::chmod(path.c_str(), 0600) != 0) throw std::runtime_error("cannot write " + path);
}

std::string SignedInAccountFile(long long last_query_time) {
  const char *const lines[][2] = {
      {"account_host", "https://127.0.0.1:18443"},
      {"identity_host", "https://127.0.0.1:18444"},
      {"zephID", "owner@example.com"},
      {"zephIDSerial", "2000001"},
      {"bx_auth_key", "3f2a9c61d0b84e7f95a1c2d3e4f5061728394a5b"},
      {"full_name", "Test Owner"},
      {"country", "US"},
      {"timezone", "America/New_York"},
      {"notify_language", "enu"},
      {"activated", "yes"},
      {"disabled", "no"},
      {"enews", "no"},
      {"enews_local_promotion", "no"},
      {"critical_release", "yes"},
      {"critical_version_list", "7.2"},
      {"critical_version_domain", "7.1,7.2"},
      {"realname_validation_pass", "yes"},
      {"report_cron_timestring", "~ 9~16 * * 1~5"},
  };
  std::string text;
  for (const auto &line : lines) text += std::string(line[0]) + "=\"" + line[1] + "\"\n";
  text += "last_query_time=\"" + std::to_string(last_query_time) + "\"\n";
  return text;
}

bool StdioRead(const std::string &path, char *buffer, size_t size) {
  std::FILE *file = std::fopen(path.c_str(), "re");
  if (file == nullptr) return false;
  const size_t read = std::fread(buffer, 1, size, file);
  std::fclose(file);
  return read > 0;
}

std::string FreshTokenFile(long long created_at) {
  // Sizes as the identity host sends them: opaque 43-character access and refresh
  // tokens, a signed identity token of some 600 characters.
  return "{\n"
         "  \"access_token\" : \"" +
         std::string(43, 'a') +
         "\",\n"
         "  \"account_user_id\" : \"2000001\",\n"
         "  \"created_at\" : " +
         std::to_string(created_at) +
         ",\n"
         "  \"expires_in\" : 3600,\n"
         "  \"id_token\" : \"" +
         std::string(620, 'i') +
         "\",\n"
         "  \"refresh_token\" : \"" +
         std::string(43, 'r') +
         "\",\n"
         "  \"scope\" : \"openid offline_access device_sn:SN2207BENCH\",\n"
         "  \"token_type\" : \"Bearer\"\n"
         "}\n";
}

}  // namespace bench
}  // namespace vexozeph
