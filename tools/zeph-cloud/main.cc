// zeph-cloud: serves the emulated account, identity and payment hosts over HTTPS and the
// admin API over plain HTTP, until SIGTERM or SIGINT.
#include <httplib.h>
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "account_form_api.h"
#include "account_oauth_api.h"
#include "admin_api.h"
#include "base/json_utils.h"
#include "base/log.h"
#include "emulator.h"
#include "identity_api.h"
#include "options.h"
#include "payment_api.h"
#include "pkce_templates.h"
#include "router.h"
#include "tls_material.h"

namespace zeph_cloud {
namespace {

const char kLoopback[] = "127.0.0.1";

// The HTTP library listens with a tiny backlog; many test processes connecting at once
// would then wait for SYN retries. Listening again on the bound socket widens it.
template <typename Base>
class WideBacklog : public Base {
 public:
  using Base::Base;
  void WidenBacklog() { ::listen(this->svr_sock_, 256); }
};

using PublicServer = WideBacklog<httplib::SSLServer>;
using AdminServer = WideBacklog<httplib::Server>;

struct Host {
  std::string name;
  std::unique_ptr<Router> router;
  std::unique_ptr<httplib::Server> server;
  int port = 0;
  std::thread thread;
};

bool Bind(httplib::Server &server, int wanted, int &bound) {
  if (wanted == 0) {
    bound = server.bind_to_any_port(kLoopback);
    return bound > 0;
  }
  bound = wanted;
  return server.bind_to_port(kLoopback, wanted);
}

void Configure(httplib::Server &server, int threads) {
  server.new_task_queue = [threads] { return new httplib::ThreadPool(threads); };
  // Short keep-alive so that a stop never waits long for idle connections.
  server.set_keep_alive_timeout(1);
  // Headers and body leave in separate writes; with Nagle on, each answer would wait for
  // the client's delayed acknowledgement.
  server.set_tcp_nodelay(true);
  server.set_read_timeout(10);
  server.set_write_timeout(10);
}

bool WriteReadyFile(const std::string &path, const Emulator &emulator, const TlsFiles &tls) {
  Json::Value ready;
  ready["account_origin"] = emulator.origins.account;
  ready["identity_origin"] = emulator.origins.identity;
  ready["payment_origin"] = emulator.origins.payment;
  ready["admin_origin"] = emulator.origins.admin;
  ready["ca_cert"] = tls.ca_cert;
  ready["pid"] = static_cast<int>(::getpid());
  return vexozeph::json::WriteFileAtomically(ready, path, 0644);
}

bool Populate(const Options &options, Emulator &emulator, std::string &error) {
  std::lock_guard<std::mutex> guard(emulator.mutex);
  for (const auto &entry : options.accounts) {
    size_t colon = entry.find(':');
    if (colon == std::string::npos) {
      error = "--account needs EMAIL:PASSWORD, got " + entry;
      return false;
    }
    if (emulator.state.FindAccountByEmail(entry.substr(0, colon)) != nullptr) continue;
    Json::Value input;
    input["email"] = entry.substr(0, colon);
    input["password"] = entry.substr(colon + 1);
    input["full_name"] = "Demo User";
    Account created;
    if (!CreateAccount(emulator.state, input, created, error)) return false;
  }
  for (const auto &entry : options.devices) {
    Json::Value input;
    size_t first = entry.find(',');
    input["serial"] = entry.substr(0, first);
    if (first != std::string::npos) {
      size_t second = entry.find(',', first + 1);
      input["mac"] =
          entry.substr(first + 1, second == std::string::npos ? second : second - first - 1);
      if (second != std::string::npos) input["api_key"] = entry.substr(second + 1);
    }
    Device created;
    if (!CreateDevice(emulator.state, input, created, error)) return false;
  }
  emulator.Persist();
  return true;
}

int Run(const Options &options) {
  std::string error;
  if (!options.templates_dir.empty()) {
    if (!WriteDeviceTemplates(options.templates_dir, error)) {
      std::fprintf(stderr, "zeph-cloud: %s\n", error.c_str());
      return 1;
    }
    if (options.templates_only) return 0;
  }
  TlsFiles tls;
  try {
    ServedCertificate served = ServedCertificate::kTrusted;
    ParseServedCertificate(options.certificate, served);
    tls = EnsureTlsMaterial(options.tls_dir, served);
  } catch (const std::exception &e) {
    std::fprintf(stderr, "zeph-cloud: TLS material: %s\n", e.what());
    return 1;
  }

  Emulator emulator;
  emulator.state_file = options.state_file;
  emulator.verbose = options.verbose;
  if (!emulator.Load(error)) {
    std::fprintf(stderr, "zeph-cloud: %s\n", error.c_str());
    return 1;
  }
  Settings &settings = emulator.state.settings;
  if (options.access_token_lifetime) settings.access_token_lifetime = options.access_token_lifetime;
  if (options.refresh_token_lifetime) {
    settings.refresh_token_lifetime = options.refresh_token_lifetime;
  }
  if (options.code_lifetime) settings.code_lifetime = options.code_lifetime;
  if (!Populate(options, emulator, error)) {
    std::fprintf(stderr, "zeph-cloud: %s\n", error.c_str());
    return 1;
  }

  std::vector<Host> hosts(4);
  hosts[0].name = "account";
  hosts[1].name = "identity";
  hosts[2].name = "payment";
  hosts[3].name = "admin";
  const int wanted[4] = {options.account_port, options.identity_port, options.payment_port,
                         options.admin_port};
  for (int i = 0; i < 3; ++i) {
    auto server = std::make_unique<PublicServer>(tls.server_cert.c_str(), tls.server_key.c_str());
    if (!server->is_valid()) {
      std::fprintf(stderr, "zeph-cloud: cannot load %s\n", tls.server_cert.c_str());
      return 1;
    }
    hosts[i].server = std::move(server);
    hosts[i].router = std::make_unique<Router>(emulator, hosts[i].name, true);
  }
  hosts[3].server = std::make_unique<AdminServer>();
  hosts[3].router = std::make_unique<Router>(emulator, "admin", false);
  AddAccountFormApi(*hosts[0].router, emulator);
  AddAccountOAuthApi(*hosts[0].router, emulator);
  AddIdentityApi(*hosts[1].router, emulator);
  AddPaymentApi(*hosts[2].router, emulator);
  AddAdminApi(*hosts[3].router, emulator);

  for (int i = 0; i < 4; ++i) {
    Configure(*hosts[i].server, i < 3 ? options.threads : 8);
    hosts[i].router->Install(*hosts[i].server);
    if (!Bind(*hosts[i].server, wanted[i], hosts[i].port)) {
      std::fprintf(stderr, "zeph-cloud: cannot listen on %s:%d for the %s host\n", kLoopback,
                   wanted[i], hosts[i].name.c_str());
      return 1;
    }
    if (i < 3) {
      static_cast<PublicServer &>(*hosts[i].server).WidenBacklog();
    } else {
      static_cast<AdminServer &>(*hosts[i].server).WidenBacklog();
    }
  }
  auto origin = [](const char *scheme, int port) {
    return std::string(scheme) + "://" + kLoopback + ":" + std::to_string(port);
  };
  {
    std::lock_guard<std::mutex> guard(emulator.mutex);
    emulator.origins = {origin("https", hosts[0].port), origin("https", hosts[1].port),
                        origin("https", hosts[2].port), origin("http", hosts[3].port)};
  }

  // Only this thread takes the stop signals; the server threads inherit the mask.
  sigset_t stop_signals;
  sigemptyset(&stop_signals);
  sigaddset(&stop_signals, SIGTERM);
  sigaddset(&stop_signals, SIGINT);
  pthread_sigmask(SIG_BLOCK, &stop_signals, nullptr);
  for (auto &host : hosts) {
    httplib::Server *server = host.server.get();
    host.thread = std::thread([server] { server->listen_after_bind(); });
  }
  if (!options.ready_file.empty() && !WriteReadyFile(options.ready_file, emulator, tls)) {
    std::fprintf(stderr, "zeph-cloud: cannot write %s\n", options.ready_file.c_str());
    emulator.SignalStop();
  } else {
    std::fprintf(stderr, "zeph-cloud: account %s identity %s payment %s admin %s\n",
                 emulator.origins.account.c_str(), emulator.origins.identity.c_str(),
                 emulator.origins.payment.c_str(), emulator.origins.admin.c_str());
    int signal_number = 0;
    sigwait(&stop_signals, &signal_number);
  }

  emulator.SignalStop();
  for (auto &host : hosts) host.server->stop();
  for (auto &host : hosts) {
    if (host.thread.joinable()) host.thread.join();
  }
  {
    std::lock_guard<std::mutex> guard(emulator.mutex);
    emulator.Persist();
  }
  if (!options.ready_file.empty()) ::unlink(options.ready_file.c_str());
  return 0;
}

}  // namespace
}  // namespace zeph_cloud

int main(int argc, char **argv) {
  // The base's log lines (a request token that cannot be computed, a state file that
  // cannot be saved) belong in the emulator's own output, not in the host's syslog.
  vexozeph::log::SetSink(
      [](int, const std::string &line) { std::fprintf(stderr, "zeph-cloud: %s\n", line.c_str()); });
  zeph_cloud::Options options;
  std::string error;
  if (!zeph_cloud::ParseOptions(argc, argv, options, error)) {
    std::fprintf(stderr, "zeph-cloud: %s (see --help)\n", error.c_str());
    return 2;
  }
  if (options.help) {
    std::fputs(zeph_cloud::HelpText(argv[0]).c_str(), stdout);
    return 0;
  }
  // A client that hangs up must not kill the server; neither must a dropped connection.
  ::signal(SIGPIPE, SIG_IGN);
  return zeph_cloud::Run(options);
}
