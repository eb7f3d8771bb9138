#include "support/cloud_emulator.h"
#include "support/appliance_files.h"

#include <fcntl.h>
#include <net/if.h>
#include <netinet/in.h>
#include <openssl/rand.h>
#include <sched.h>
#include <signal.h>
#include <strings.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <memory>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "base/atomic_file.h"
#include "base/json_utils.h"
#include "support/http_client.h"
#include "support/pkce_digest.h"

namespace vexozeph {
namespace testing {
namespace {

namespace fs = std::filesystem;

const char kDefaultsConfigDir[] = "/usr/vexo/etc.defaults/vexona-account/config";
const char kLoginRedirectPath[] = "/device/oauth/login/callback";

// The port of the build's test payment base ("https://127.0.0.1:18445"): the library has
// no other way to the payment host.
std::string BuiltInPaymentPort() {
  const std::string base = VEXOZEPH_TEST_PAYMENT_HOST;
  return base.substr(base.rfind(':') + 1);
}

// Moves this process into a network namespace of its own with its loopback up, where the
// built-in test ports are free whatever else runs on the machine. False, with errno, when
// the process may not (it takes root, and some containers refuse even root).
bool EnterPrivateNetwork() {
  if (::unshare(CLONE_NEWNET) != 0) return false;
  const int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  ifreq request{};
  std::strncpy(request.ifr_name, "lo", IFNAMSIZ - 1);
  const bool up = fd >= 0 && ::ioctl(fd, SIOCGIFFLAGS, &request) == 0 &&
                  (request.ifr_flags |= IFF_UP, ::ioctl(fd, SIOCSIFFLAGS, &request) == 0);
  if (fd >= 0) ::close(fd);
  if (!up)
    throw std::runtime_error(std::string("no loopback in the new network namespace: ") +
                             std::strerror(errno));
  return true;
}

// In the machine's own network namespace the built-in payment port is one for every test
// process of every checkout: a lock file named for it lets one emulator at a time serve
// it, the others waiting their turn, and a probe tells whether something else holds the
// port. The lock, once taken, lasts as long as the returned descriptor. Empty, with
// `why` set, when the port cannot be had.
vexozeph::UniqueFd ClaimSharedPaymentPort(const std::string &port, std::string &why) {
  const std::string lock_path = "/tmp/vexozeph-test-payment-port-" + port + ".lock";
  vexozeph::UniqueFd lock(
      ::open(lock_path.c_str(), O_RDONLY | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0644));
  if (!lock.Valid()) {
    why = "cannot open " + lock_path + ": " + std::strerror(errno);
    return vexozeph::UniqueFd();
  }
  // A store test takes seconds; a minute's wait means a run that is stuck, not busy.
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (::flock(lock.Get(), LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK || std::chrono::steady_clock::now() > deadline) {
      why = lock_path + " stayed locked by another test run for a minute";
      return vexozeph::UniqueFd();
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  // Something listening there would share the port with the emulator, which binds it
  // with SO_REUSEPORT; a closed port (or one left in TIME_WAIT) refuses the connection.
  vexozeph::UniqueFd probe(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<uint16_t>(std::stoi(port)));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (probe.Valid() &&
      ::connect(probe.Get(), reinterpret_cast<const sockaddr *>(&address), sizeof(address)) == 0) {
    why = "another program listens on port " + port + " of the loopback";
    return vexozeph::UniqueFd();
  }
  return lock;
}

std::string ReadAll(const std::string &path) {
  std::string content;
  return vexozeph::ReadWholeFile(path, content) ? content : "";
}

// Sets `key="value"` lines in a key-value settings file, replacing a key's existing line
// in place and keeping every other line; the file ends up with `mode`.
void SetKeyValues(const std::string &path, const NamedPairs &values, mode_t mode) {
  std::vector<std::string> lines;
  std::vector<bool> written(values.size(), false);
  std::istringstream existing(ReadAll(path));
  for (std::string line; std::getline(existing, line);) {
    std::string key = line.substr(0, line.find('='));
    for (size_t i = 0; i < values.size(); ++i) {
      if (key == values[i].first) {
        line = values[i].first + "=\"" + values[i].second + "\"";
        written[i] = true;
      }
    }
    lines.push_back(line);
  }
  for (size_t i = 0; i < values.size(); ++i) {
    if (!written[i]) lines.push_back(values[i].first + "=\"" + values[i].second + "\"");
  }
  fs::create_directories(fs::path(path).parent_path());
  std::string text;
  for (const auto &line : lines) text += line + "\n";
  if (!vexozeph::WriteFileAtomically(path, text, mode)) {
    throw std::runtime_error("cannot write " + path);
  }
}

// A per-user directory under the system temporary directory where the emulator keeps
// its CA and certificate between tests, so that key generation happens once. Used only
// when it is ours alone (our directory, not a link, closed to others); otherwise each
// emulator gets its own.
std::string SharedTlsDir(const TempRoot &root) {
  std::string dir =
      (fs::temp_directory_path() / ("zeph-cloud-tls-" + std::to_string(::getuid()))).string();
  ::mkdir(dir.c_str(), 0700);
  struct stat info;
  if (::lstat(dir.c_str(), &info) == 0 && S_ISDIR(info.st_mode) && info.st_uid == ::getuid() &&
      (info.st_mode & 077) == 0) {
    return dir;
  }
  return root.Dir() + "/zeph-cloud/tls";
}

std::string StringOf(const Json::Value &object, const char *key) {
  return vexozeph::json::StringOr(object, key);
}

}  // namespace

std::string LoggedRequest::Header(const std::string &name) const {
  for (const auto &header : headers) {
    if (strcasecmp(header.first.c_str(), name.c_str()) == 0) return header.second;
  }
  return "";
}

bool LoggedRequest::HasHeader(const std::string &name) const {
  for (const auto &header : headers) {
    if (strcasecmp(header.first.c_str(), name.c_str()) == 0) return true;
  }
  return false;
}

std::vector<std::string> LoggedRequest::FormKeys() const {
  std::vector<std::string> keys;
  for (const auto &pair : form) keys.push_back(pair.first);
  return keys;
}

std::vector<std::string> LoggedRequest::FormValues(const std::string &key) const {
  std::vector<std::string> values;
  for (const auto &pair : form) {
    if (pair.first == key) values.push_back(pair.second);
  }
  return values;
}

std::string LoggedRequest::FormValue(const std::string &key) const {
  for (const auto &pair : form) {
    if (pair.first == key) return pair.second;
  }
  return "";
}

const char kAnyValue[] = "\x01any";

::testing::AssertionResult SentAs(const LoggedRequest &request, const std::string &path,
                                  const std::vector<std::string> &keys_and_values) {
  NamedPairs form;
  for (size_t i = 0; i + 1 < keys_and_values.size(); i += 2) {
    form.emplace_back(keys_and_values[i], keys_and_values[i + 1]);
  }
  const NamedPairs &sent = request.form;
  const auto field_matches = [&](size_t i) {
    return i < sent.size() && i < form.size() && sent[i].first == form[i].first &&
           (form[i].second == kAnyValue || sent[i].second == form[i].second);
  };
  // Paths are compared without their leading slash, which the library's constants omit.
  const auto bare = [](const std::string &p) { return p.substr(p.rfind('/', 0) == 0 ? 1 : 0); };
  bool same = bare(request.path) == bare(path) && sent.size() == form.size();
  for (size_t i = 0; same && i < form.size(); ++i) same = field_matches(i);
  if (same) return ::testing::AssertionSuccess();
  const auto shown = [](const NamedPairs &pairs, size_t i) {
    if (i >= pairs.size()) return std::string("(none)");
    return pairs[i].first + "=" + (pairs[i].second == kAnyValue ? "*" : pairs[i].second);
  };
  ::testing::AssertionResult failure = ::testing::AssertionFailure();
  failure << "sent " << request.path << ", expected " << path << "; sent | expected:\n";
  for (size_t i = 0; i < std::max(sent.size(), form.size()); ++i) {
    failure << (field_matches(i) ? "    " : "  ! ") << shown(sent, i) << " | " << shown(form, i)
            << "\n";
  }
  return failure;
}

::testing::AssertionResult SentAs(const LoggedRequest &request, const std::string &path,
                                  const char *form) {
  std::vector<std::string> keys_and_values;
  std::istringstream fields(form);
  for (std::string field; std::getline(fields, field, '&');) {
    const size_t equals = field.find('=');
    keys_and_values.push_back(field.substr(0, equals));
    const std::string value = equals == std::string::npos ? "" : field.substr(equals + 1);
    keys_and_values.push_back(value == "*" ? kAnyValue : value);
  }
  return SentAs(request, path, keys_and_values);
}

NewAccount::NewAccount() {
  full_name = "Test User";
  country = "US";
  timezone = "America/New_York";
  notify_language = "enu";
}

PkcePair PkcePair::Make() {
  static const char kAlphabet[] =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
  unsigned char random[43];
  if (RAND_bytes(random, sizeof(random)) != 1) throw std::runtime_error("RAND_bytes failed");
  PkcePair pair;
  for (unsigned char byte : random) pair.verifier += kAlphabet[byte & 63];
  pair.challenge = S256Challenge(pair.verifier);
  return pair;
}

CloudEmulator::CloudEmulator(const std::string &binary, const TempRoot &root)
    : CloudEmulator(binary, root, Options()) {}

CloudEmulator::CloudEmulator(const std::string &binary, const TempRoot &root,
                             const Options &options)
    : root_(root) {
  work_dir_ = root.Dir() + "/zeph-cloud";
  fs::create_directories(work_dir_);
  Start(binary, options);
  try {
    Install();
  } catch (...) {
    Stop();
    throw;
  }
}

CloudEmulator::~CloudEmulator() {
  Stop();
}

void CloudEmulator::Start(const std::string &binary, const Options &options) {
  std::string ready_file = work_dir_ + "/ready.json";
  std::vector<std::string> args = {binary,
                                   "--free-ports",
                                   "--tls-dir",
                                   options.tls_dir.empty() ? SharedTlsDir(root_) : options.tls_dir,
                                   "--ready-file",
                                   ready_file,
                                   "--templates-dir",
                                   root_.Path(kDefaultsConfigDir)};
  if (options.verbose) args.push_back("--verbose");
  if (options.payment_at_built_in_port) {
    // A network namespace of its own where the process may make one; else the machine's
    // own, where the port must be free and is taken in turns.
    const std::string port = BuiltInPaymentPort();
    if (EnterPrivateNetwork()) {
      payment_at_built_in_port_ = true;
    } else {
      const std::string refused = std::string("unshare(CLONE_NEWNET): ") + std::strerror(errno);
      std::string taken;
      payment_port_lock_ = ClaimSharedPaymentPort(port, taken);
      payment_at_built_in_port_ = payment_port_lock_.Valid();
      if (!payment_at_built_in_port_) {
        why_no_payment_host_ =
            "the payment host cannot be served at the build's test payment "
            "base: " +
            refused + ", and " + taken;
      }
    }
    if (payment_at_built_in_port_) args.insert(args.end(), {"--payment-port", port});
  }
  args.insert(args.end(), options.extra_args.begin(), options.extra_args.end());
  std::vector<char *> argv;
  for (auto &arg : args) argv.push_back(&arg[0]);
  argv.push_back(nullptr);

  int log_fd =
      ::open((work_dir_ + "/emulator.log").c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (log_fd < 0) throw std::runtime_error("cannot create the emulator log");
  pid_t parent = ::getpid();
  pid_ = ::fork();
  if (pid_ == 0) {
    // Only async-signal-safe calls between fork and exec.
    ::dup2(log_fd, STDOUT_FILENO);
    ::dup2(log_fd, STDERR_FILENO);
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);  // never outlive a crashed test
    if (::getppid() != parent) ::_exit(126);
    ::execv(argv[0], argv.data());
    ::_exit(127);
  }
  ::close(log_fd);
  if (pid_ < 0) throw std::runtime_error("fork failed");

  auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (true) {
    // The file appears whole (it is renamed into place) once the emulator listens.
    Json::Value ready;
    std::string text = ReadAll(ready_file);
    if (!text.empty() && vexozeph::json::FromString(text, ready) && ready.isObject()) {
      account_origin_ = StringOf(ready, "account_origin");
      identity_origin_ = StringOf(ready, "identity_origin");
      payment_origin_ = StringOf(ready, "payment_origin");
      admin_origin_ = StringOf(ready, "admin_origin");
      ca_source_ = StringOf(ready, "ca_cert");
      return;
    }
    int status = 0;
    if (::waitpid(pid_, &status, WNOHANG) == pid_) {
      pid_ = -1;
      throw std::runtime_error("zeph-cloud exited before it was ready:\n" + EmulatorOutput());
    }
    if (std::chrono::steady_clock::now() > deadline) {
      Stop();
      throw std::runtime_error("zeph-cloud did not become ready:\n" + EmulatorOutput());
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
}

void CloudEmulator::Install() {
  std::string ca = ReadAll(ca_source_);
  if (ca.empty()) throw std::runtime_error("cannot read the emulator CA " + ca_source_);
  root_.WriteFile(kCaFile, ca);
  SetKeyValues(root_.Path("/etc.defaults/vexoinfo.conf"), {{"vexopkg_server", "test"}}, 0644);
  InstallHosts();
}

void CloudEmulator::InstallHosts() const {
  SetKeyValues(root_.Path(kAccountFile),
               {{"account_host", account_origin_}, {"identity_host", identity_origin_}}, 0600);
}

void CloudEmulator::Stop() {
  if (pid_ <= 0) return;
  ::kill(pid_, SIGTERM);
  auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  int status = 0;
  while (::waitpid(pid_, &status, WNOHANG) == 0) {
    if (std::chrono::steady_clock::now() > deadline) {
      ::kill(pid_, SIGKILL);
      ::waitpid(pid_, &status, 0);
      break;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  pid_ = -1;
}

std::string CloudEmulator::EmulatorOutput() const {
  return ReadAll(work_dir_ + "/emulator.log");
}

std::string CloudEmulator::CaFile() const {
  return root_.Path(kCaFile);
}

std::string CloudEmulator::LoginRedirectUri() const {
  return account_origin_ + kLoginRedirectPath;
}

std::string CloudEmulator::DeviceScope(const std::string &serial, const std::string &mac) const {
  Json::Value login;
  if (!vexozeph::json::FromString(
          root_.ReadFile(std::string(kDefaultsConfigDir) + "/pkce_login.conf"), login)) {
    throw std::runtime_error("the login template is missing from the root");
  }
  std::string scope = StringOf(login, "scope");
  for (const auto &placeholder : NamedPairs{{"$sn$", serial}, {"$mac$", mac}}) {
    for (size_t at = scope.find(placeholder.first); at != std::string::npos;
         at = scope.find(placeholder.first, at + placeholder.second.size())) {
      scope.replace(at, placeholder.first.size(), placeholder.second);
    }
  }
  return scope;
}

Json::Value CloudEmulator::Admin(const std::string &method, const std::string &path,
                                 const Json::Value &body, long *status) {
  HttpResult result =
      Http(method, admin_origin_ + path, body.isNull() ? "" : vexozeph::json::ToCompactString(body),
           "application/json", "");
  Json::Value answer;
  vexozeph::json::FromString(result.body, answer);
  if (status != nullptr) {
    *status = result.status;
  } else if (result.status < 200 || result.status > 299) {
    throw std::runtime_error("admin " + method + " " + path + " -> " +
                             std::to_string(result.status) + " " + result.body);
  }
  return answer;
}

Account CloudEmulator::CreateAccount(const NewAccount &wanted) {
  Json::Value input = zeph_cloud::ToJson(wanted);
  Json::Value created = Admin("POST", "/admin/accounts", input);
  return Account{StringOf(created, "id"), wanted.email, wanted.password};
}

Json::Value CloudEmulator::GetAccount(const std::string &id) {
  return Admin("GET", "/admin/accounts/" + id);
}

void CloudEmulator::UpdateAccount(const std::string &id, const Json::Value &fields) {
  Admin("POST", "/admin/accounts/" + id, fields);
}

void CloudEmulator::DeleteAccount(const std::string &id) {
  Admin("DELETE", "/admin/accounts/" + id);
}

void CloudEmulator::CreateDevice(const NewDevice &wanted) {
  Admin("POST", "/admin/devices", zeph_cloud::ToJson(wanted));
}

void CloudEmulator::AddClient(const std::string &client_id) {
  Json::Value input;
  input["client_id"] = client_id;
  Admin("POST", "/admin/clients", input);
}

Json::Value CloudEmulator::AddPackage(const std::string &package_name, const std::string &client_id,
                                      const std::string &scope) {
  Json::Value input;
  input["package_name"] = package_name;
  if (!client_id.empty()) input["client_id"] = client_id;
  if (!scope.empty()) input["scope"] = scope;
  return Admin("POST", "/admin/packages", input);
}

void CloudEmulator::SetLifetimes(const Lifetimes &lifetimes) {
  Json::Value input(Json::objectValue);
  if (lifetimes.access_token > 0) input["access_token"] = Json::Int64(lifetimes.access_token);
  if (lifetimes.refresh_token > 0) input["refresh_token"] = Json::Int64(lifetimes.refresh_token);
  if (lifetimes.code > 0) input["code"] = Json::Int64(lifetimes.code);
  Admin("POST", "/admin/lifetimes", input);
}

void CloudEmulator::AdvanceClock(int64_t seconds) {
  Json::Value input;
  input["advance_seconds"] = Json::Int64(seconds);
  Admin("POST", "/admin/clock", input);
}

int CloudEmulator::Revoke(const char *kind, const std::string &value) {
  Json::Value input;
  input[kind] = value;
  const Json::Value answer = Admin("POST", "/admin/revoke", input);
  return answer.isObject() && answer["revoked"].isInt() ? answer["revoked"].asInt() : 0;
}

int CloudEmulator::RevokeRefreshToken(const std::string &token) {
  return Revoke("refresh_token", token);
}

int CloudEmulator::RevokeAccessToken(const std::string &token) {
  return Revoke("access_token", token);
}

int CloudEmulator::RevokeAuthKey(const std::string &auth_key) {
  return Revoke("auth_key", auth_key);
}

void CloudEmulator::SetAnswer(const std::string &path, const std::string &word, int count,
                              const Json::Value &extra) {
  Json::Value input;
  input["path"] = path;
  input["code"] = word;
  input["count"] = count;
  if (!extra.isNull()) input["extra"] = extra;
  Admin("POST", "/admin/answers", input);
}

void CloudEmulator::ClearAnswers() {
  Admin("DELETE", "/admin/answers");
}

void CloudEmulator::QueueFault(const Fault &fault) {
  Admin("POST", "/admin/faults", zeph_cloud::ToJson(fault));
}

void CloudEmulator::ClearFaults() {
  Admin("DELETE", "/admin/faults");
}

bool CloudEmulator::WaitUntilHeld(int count, int seconds) {
  const auto give_up = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  while (Admin("GET", "/admin/held")["held"].asInt() < count) {
    if (std::chrono::steady_clock::now() > give_up) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

void CloudEmulator::ReleaseHeld() {
  Admin("POST", "/admin/held/release");
}

Json::Value CloudEmulator::TokenOwner(const std::string &token) {
  Json::Value input;
  input["token"] = token;
  long status = 0;
  const Json::Value owner = Admin("POST", "/admin/tokens/owner", input, &status);
  return status == 200 ? owner : Json::Value();
}

std::vector<LoggedRequest> CloudEmulator::Requests(const std::string &origin,
                                                   const std::string &path) {
  NamedPairs filter;
  if (!origin.empty()) filter.emplace_back("origin", origin);
  if (!path.empty()) filter.emplace_back("path", path);
  const std::string query = FormBody(filter);
  Json::Value answer = Admin("GET", "/admin/requests" + (query.empty() ? "" : "?" + query));
  std::vector<LoggedRequest> requests;
  for (const auto &item : vexozeph::json::ArrayMember(answer, "requests")) {
    LoggedRequest request;
    std::string error;
    if (!zeph_cloud::FromJson(item, request, error)) {
      throw std::runtime_error("the request log holds a malformed entry: " + error);
    }
    requests.push_back(request);
  }
  return requests;
}

void CloudEmulator::ClearRequests() {
  Admin("DELETE", "/admin/requests");
}

Json::Value CloudEmulator::State() {
  return Admin("GET", "/admin/state");
}

std::string CloudEmulator::SignIn(const SignInRequest &request) {
  std::string redirect = request.redirect_uri.empty() ? LoginRedirectUri() : request.redirect_uri;
  NamedPairs form = {{"response_type", "code"},
                     {"client_id", request.client_id},
                     {"redirect_uri", redirect},
                     {"scope", request.scope},
                     {"state", request.state},
                     {"code_challenge", request.code_challenge},
                     {"code_challenge_method", "S256"},
                     {"email", request.email},
                     {"password", request.password},
                     {"consent", "yes"},
                     {"action", "allow"}};
  HttpResult result = Http("POST", identity_origin_ + "/oauth2/authorize", FormBody(form),
                           "application/x-www-form-urlencoded", CaFile());
  std::string code = QueryParam(result.location, "code");
  if (result.status != 302 || code.empty()) {
    throw std::runtime_error("sign-in refused: " + std::to_string(result.status) + " " +
                             result.location + " " + result.body);
  }
  if (QueryParam(result.location, "state") != request.state) {
    throw std::runtime_error("sign-in lost the state: " + result.location);
  }
  return code;
}

std::string CloudEmulator::AuthorizeCode(const SignInRequest &request) {
  Json::Value input;
  input["client_id"] = request.client_id;
  input["redirect_uri"] = request.redirect_uri.empty() ? LoginRedirectUri() : request.redirect_uri;
  input["scope"] = request.scope;
  input["state"] = request.state;
  input["code_challenge"] = request.code_challenge;
  input["email"] = request.email;
  input["password"] = request.password;
  return StringOf(Admin("POST", "/admin/authorize", input), "code");
}

}  // namespace testing
}  // namespace vexozeph
