#include "options.h"

#include "tls_material.h"

#include <cerrno>
#include <cstdlib>
#include <functional>
#include <map>

namespace zeph_cloud {
namespace {

bool ParseNumber(const std::string &text, int64_t min, int64_t max, int64_t &out) {
  if (text.empty()) return false;
  errno = 0;
  char *end = nullptr;
  long long value = std::strtoll(text.c_str(), &end, 10);
  if (errno != 0 || *end != '\0' || value < min || value > max) return false;
  out = value;
  return true;
}

}  // namespace

bool ParseOptions(int argc, char **argv, Options &options, std::string &error) {
  using Setter = std::function<bool(const std::string &)>;
  auto port = [](int &field) {
    return Setter([&field](const std::string &v) {
      int64_t n;
      if (!ParseNumber(v, 0, 65535, n)) return false;
      field = static_cast<int>(n);
      return true;
    });
  };
  auto seconds = [](int64_t &field) {
    return Setter(
        [&field](const std::string &v) { return ParseNumber(v, 1, int64_t{1} << 40, field); });
  };
  auto text = [](std::string &field) {
    return Setter([&field](const std::string &v) {
      field = v;
      return !v.empty();
    });
  };
  auto list = [](std::vector<std::string> &field) {
    return Setter([&field](const std::string &v) {
      field.push_back(v);
      return !v.empty();
    });
  };
  std::map<std::string, Setter> with_value = {
      {"--account-port", port(options.account_port)},
      {"--identity-port", port(options.identity_port)},
      {"--payment-port", port(options.payment_port)},
      {"--admin-port", port(options.admin_port)},
      {"--tls-dir", text(options.tls_dir)},
      {"--certificate", Setter([&options](const std::string &v) {
         ServedCertificate kind;
         options.certificate = v;
         return ParseServedCertificate(v, kind);
       })},
      {"--state-file", text(options.state_file)},
      {"--ready-file", text(options.ready_file)},
      {"--templates-dir", text(options.templates_dir)},
      {"--access-token-lifetime", seconds(options.access_token_lifetime)},
      {"--refresh-token-lifetime", seconds(options.refresh_token_lifetime)},
      {"--code-lifetime", seconds(options.code_lifetime)},
      {"--threads", Setter([&options](const std::string &v) {
         int64_t n;
         if (!ParseNumber(v, 1, 1024, n)) return false;
         options.threads = static_cast<int>(n);
         return true;
       })},
      {"--account", list(options.accounts)},
      {"--device", list(options.devices)},
  };
  for (int i = 1; i < argc; ++i) {
    std::string arg = argv[i];
    std::string value;
    bool has_inline_value = false;
    size_t eq = arg.find('=');
    if (arg.rfind("--", 0) == 0 && eq != std::string::npos) {
      value = arg.substr(eq + 1);
      arg = arg.substr(0, eq);
      has_inline_value = true;
    }
    if (arg == "--help" || arg == "-h") {
      options.help = true;
    } else if (arg == "--free-ports") {
      options.account_port = options.identity_port = options.payment_port = 0;
      options.admin_port = 0;
    } else if (arg == "--templates-only") {
      options.templates_only = true;
    } else if (arg == "--verbose" || arg == "-v") {
      options.verbose = true;
    } else if (with_value.count(arg)) {
      if (!has_inline_value) {
        if (i + 1 >= argc) {
          error = arg + " needs a value";
          return false;
        }
        value = argv[++i];
      }
      if (!with_value[arg](value)) {
        error = "bad value for " + arg + ": '" + value + "'";
        return false;
      }
    } else {
      error = "unknown option: " + arg;
      return false;
    }
  }
  if (options.templates_only && options.templates_dir.empty()) {
    error = "--templates-only needs --templates-dir";
    return false;
  }
  return true;
}

std::string HelpText(const char *program) {
  std::string name = program ? program : "zeph-cloud";
  return "Usage: " + name + R"( [options]

A stateful HTTPS stand-in for the Zeph account, identity and payment hosts, for tests
and demos. Serves each host on its own loopback port, plus a plain-HTTP admin API on
127.0.0.1 that creates accounts and devices, injects faults and reads the request log.
Stops cleanly on SIGTERM or SIGINT.

Ports (0 picks a free port; the ready file tells which):
  --account-port N            account host (HTTPS), default )" +
         std::to_string(ZEPH_CLOUD_DEFAULT_ACCOUNT_PORT) + R"(
  --identity-port N           identity host (HTTPS), default )" +
         std::to_string(ZEPH_CLOUD_DEFAULT_IDENTITY_PORT) + R"(
  --payment-port N            payment host (HTTPS), default )" +
         std::to_string(ZEPH_CLOUD_DEFAULT_PAYMENT_PORT) + R"(
  --admin-port N              admin API (plain HTTP), default )" +
         std::to_string(ZEPH_CLOUD_DEFAULT_ADMIN_PORT) + R"(
  --free-ports                all four ports 0

Files:
  --tls-dir DIR               where the throwaway CA (ca.pem) and the server certificate
                              for 127.0.0.1/localhost live; generated on first use and
                              reused afterwards (default ./zeph-cloud-tls)
  --certificate KIND          the server certificate the three hosts present: trusted
                              (default), or one a client must refuse: self-signed,
                              wrong-host (for wrong-host.invalid only) or expired
  --state-file FILE           load accounts, devices, keys and tokens from FILE at start
                              and save them there after every change (default: memory only)
  --ready-file FILE           once listening, write JSON {"account_origin",
                              "identity_origin", "payment_origin", "admin_origin",
                              "ca_cert", "pid"} to FILE (atomically)
  --templates-dir DIR         write the PKCE templates pkce_login.conf and
                              pkce_register.conf for this emulator into DIR at start
  --templates-only            write the templates and exit without serving

Lifetimes (seconds; also settable through the admin API):
  --access-token-lifetime S   access and identity tokens, default 3600
  --refresh-token-lifetime S  refresh tokens, default 2592000 (30 days)
  --code-lifetime S           authorization and grant codes, default 120

Populating (repeatable; for demos):
  --account EMAIL:PASSWORD    create an activated account
  --device SERIAL[,MAC[,API_KEY]]
                              create a device; with API_KEY only that key is accepted

Other:
  --threads N                 worker threads per host, default 32
  --verbose, -v               print one line per request to stderr
  --help, -h                  this text

See docs/cloud-emulator.md for the endpoints, the answers and the admin API.
)";
}

}  // namespace zeph_cloud
