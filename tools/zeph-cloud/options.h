// Command-line options of zeph-cloud.
#ifndef ZEPH_CLOUD_OPTIONS_H_
#define ZEPH_CLOUD_OPTIONS_H_

#include <cstdint>
#include <string>
#include <vector>

namespace zeph_cloud {

struct Options {
  int account_port = ZEPH_CLOUD_DEFAULT_ACCOUNT_PORT;
  int identity_port = ZEPH_CLOUD_DEFAULT_IDENTITY_PORT;
  int payment_port = ZEPH_CLOUD_DEFAULT_PAYMENT_PORT;
  int admin_port = ZEPH_CLOUD_DEFAULT_ADMIN_PORT;
  std::string tls_dir = "zeph-cloud-tls";
  std::string certificate = "trusted";  // which server certificate to present
  std::string state_file;               // empty: state lives in memory only
  std::string ready_file;               // empty: no ready file
  std::string templates_dir;            // empty: no templates written
  bool templates_only = false;
  // Lifetimes in seconds; 0 keeps the default (or what a loaded state file holds).
  int64_t access_token_lifetime = 0;
  int64_t refresh_token_lifetime = 0;
  int64_t code_lifetime = 0;
  int threads = 32;
  bool verbose = false;
  std::vector<std::string> accounts;  // "email:password"
  std::vector<std::string> devices;   // "serial[,mac[,api_key]]"
  bool help = false;
};

// Parses argv. On a usage error returns false and sets `error`.
bool ParseOptions(int argc, char **argv, Options &options, std::string &error);

// The --help text.
std::string HelpText(const char *program);

}  // namespace zeph_cloud

#endif  // ZEPH_CLOUD_OPTIONS_H_
