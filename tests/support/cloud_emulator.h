// Runs the cloud emulator (zeph-cloud) as a child process on free ports for one test,
// wires a throwaway root to it (CA certificate, PKCE templates, test-server setting and
// the user-defined hosts), and drives its admin API with typed calls.
#ifndef VEXOZEPH_TESTS_SUPPORT_CLOUD_EMULATOR_H_
#define VEXOZEPH_TESTS_SUPPORT_CLOUD_EMULATOR_H_

#include <gtest/gtest.h>
#include <json/json.h>
#include <sys/types.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "base/unique_fd.h"
#include "support/temp_root.h"
#include "zeph-cloud/records.h"

namespace vexozeph {
namespace testing {

using NamedPairs = zeph_cloud::Pairs;

// One entry of the emulator's request log.
struct LoggedRequest : zeph_cloud::LoggedRequest {
  // First header of that name (any letter case); "" when absent.
  std::string Header(const std::string &name) const;
  bool HasHeader(const std::string &name) const;
  std::vector<std::string> FormKeys() const;
  std::vector<std::string> FormValues(const std::string &key) const;
  // First value of `key` in the form; "" when absent.
  std::string FormValue(const std::string &key) const;
};

// Stands for any value in an expected form: one the test cannot know (a request token,
// a fresh code challenge) whose field must still be there in its place.
extern const char kAnyValue[];

// The request's path and its whole form, fields in order with their values, against what
// was expected, written as keys and values in turn; on a difference both forms are printed
// side by side.
//   EXPECT_TRUE(SentAs(sent[0], "device/api/user/query", {"id", id, "bx_token", kAnyValue}));
::testing::AssertionResult SentAs(const LoggedRequest &request, const std::string &path,
                                  const std::vector<std::string> &keys_and_values);
// The same with the expected form as one text, "key=value&key=value", "*" for any value and
// nothing decoded: for forms of constants.
::testing::AssertionResult SentAs(const LoggedRequest &request, const std::string &path,
                                  const char *form);

// An account to create: the emulator's own record, with a test user's profile. A null
// `realname_validation_pass` leaves it out of the answers; an empty `id` lets the
// emulator assign one.
struct NewAccount : zeph_cloud::Account {
  NewAccount();
};

struct Account {
  std::string id;
  std::string email;
  std::string password;
};

// A device to create or replace (the emulator's own record; an empty `api_key` accepts
// any key).
using NewDevice = zeph_cloud::Device;

// Seconds; 0 leaves a lifetime unchanged.
struct Lifetimes {
  int64_t access_token = 0;
  int64_t refresh_token = 0;
  int64_t code = 0;
};

// A misbehaviour to queue (the emulator's own record; `path` as "/oauth2/token" or
// "device/api/report").
using Fault = zeph_cloud::Fault;

// A PKCE pair: a random 43-character verifier and its S256 challenge.
struct PkcePair {
  std::string verifier;
  std::string challenge;
  static PkcePair Make();
};

// A sign-in as the management interface would start it. For a device session the scope
// must name the device (CloudEmulator::DeviceScope): the account host binds the auth key
// to the serial the token's scope carries.
struct SignInRequest {
  std::string email;
  std::string password;
  std::string client_id = "zeph-device";
  std::string redirect_uri;  // empty: the account host's login landing page
  std::string scope = "openid offline_access";
  std::string state = "test-state";
  std::string code_challenge;  // required (PkcePair::challenge)
};

class CloudEmulator {
 public:
  struct Options {
    std::string tls_dir;  // empty: a per-user cache under /tmp, shared between tests
    bool verbose = false;
    std::vector<std::string> extra_args;
    // Serve the payment host at the build's test payment base, the only one the library
    // reaches. That moves this process (and the emulator and programs it starts later)
    // into a network namespace of its own, so that no other run on the machine can hold
    // the port. Where that is refused, the machine's own port serves when it is free,
    // one emulator at a time; otherwise the payment host stays on a free port.
    bool payment_at_built_in_port = false;
  };

  // Starts `binary` (tests pass ZEPH_CLOUD_BINARY) and installs it into `root`. Throws
  // std::runtime_error, with the emulator's output, when it does not come up.
  CloudEmulator(const std::string &binary, const TempRoot &root);
  CloudEmulator(const std::string &binary, const TempRoot &root, const Options &options);
  // Stop().
  ~CloudEmulator();
  CloudEmulator(const CloudEmulator &) = delete;
  CloudEmulator &operator=(const CloudEmulator &) = delete;

  // SIGTERM and wait (SIGKILL after 5 s). Safe to call twice.
  void Stop();
  pid_t Pid() const { return pid_; }

  const std::string &AccountOrigin() const { return account_origin_; }
  const std::string &IdentityOrigin() const { return identity_origin_; }
  const std::string &PaymentOrigin() const { return payment_origin_; }
  // True when the library reaches this emulator's payment host (see Options); else why
  // not, for a test to skip with.
  bool PaymentAtBuiltInPort() const { return payment_at_built_in_port_; }
  const std::string &WhyNoPaymentHost() const { return why_no_payment_host_; }
  const std::string &AdminOrigin() const { return admin_origin_; }
  // The CA certificate as installed in the root ("/etc/ssl/certs/ca-certificates.crt").
  std::string CaFile() const;
  // The account host's sign-in landing address (the login template's redirect).
  std::string LoginRedirectUri() const;
  // The installed login template's scope with "$sn$" and "$mac$" filled in, as the
  // appliance sends it.
  std::string DeviceScope(const std::string &serial, const std::string &mac) const;

  // (Re)writes "account_host" and "identity_host" into the root's account file, keeping
  // its other lines; needed again after a sign-out removed the file.
  void InstallHosts() const;

  Account CreateAccount(const NewAccount &wanted);
  Json::Value GetAccount(const std::string &id);
  // Changes members of an account (the admin API's field names).
  void UpdateAccount(const std::string &id, const Json::Value &fields);
  // The account becomes a tombstone: its keys then meet "account_not_found".
  void DeleteAccount(const std::string &id);
  void CreateDevice(const NewDevice &wanted);
  void AddClient(const std::string &client_id);
  // Registers a package client; returns the configuration template the account host
  // will hand out for it.
  Json::Value AddPackage(const std::string &package_name, const std::string &client_id = "",
                         const std::string &scope = "");
  void SetLifetimes(const Lifetimes &lifetimes);
  // Moves the emulator's clock forward (codes and tokens expire without waiting).
  void AdvanceClock(int64_t seconds);
  // Each returns how many live items were revoked (0 or 1).
  int RevokeRefreshToken(const std::string &token);
  int RevokeAccessToken(const std::string &token);
  int RevokeAuthKey(const std::string &auth_key);
  // Forces the result word of a form path ("device/api/report") for the next `count`
  // requests, or until cleared when 0. `extra` members are added to JSON answers.
  void SetAnswer(const std::string &path, const std::string &word, int count = 0,
                 const Json::Value &extra = Json::Value());
  void ClearAnswers();
  void QueueFault(const Fault &fault);
  void ClearFaults();
  // Requests held back by a fault with `hold`: waits until `count` of them wait (false
  // when `seconds` pass first), and lets every one of them go on.
  bool WaitUntilHeld(int count, int seconds = 30);
  void ReleaseHeld();
  // Whose token `token` is, as the emulator knows it: "kind" (access, refresh or id),
  // "account_id", "client_id", "family" and "live"; null for a token it never issued.
  Json::Value TokenOwner(const std::string &token);
  // The request log, oldest first, optionally for one origin and/or path.
  std::vector<LoggedRequest> Requests(const std::string &origin = "", const std::string &path = "");
  void ClearRequests();
  // The whole state (accounts, devices, auth keys, codes, tokens) as JSON.
  Json::Value State();

  // Signs in through the identity host's sign-in form, as a browser would, and returns
  // the authorization code from the redirect. Throws when the page refuses.
  std::string SignIn(const SignInRequest &request);
  // The same through the admin API (no page involved).
  std::string AuthorizeCode(const SignInRequest &request);

  // Raw admin call: method, path ("/admin/..."), JSON body. Returns the parsed answer;
  // throws when the status is not 2xx unless `status` is given to receive it.
  Json::Value Admin(const std::string &method, const std::string &path,
                    const Json::Value &body = Json::Value(), long *status = nullptr);

 private:
  void Start(const std::string &binary, const Options &options);
  void Install();
  std::string EmulatorOutput() const;
  // Revokes the `kind` ("refresh_token", "access_token", "auth_key") `value`; how many went.
  int Revoke(const char *kind, const std::string &value);

  const TempRoot &root_;
  pid_t pid_ = -1;
  std::string work_dir_;
  std::string account_origin_;
  std::string identity_origin_;
  std::string payment_origin_;
  bool payment_at_built_in_port_ = false;
  std::string why_no_payment_host_;
  // Held while this emulator serves the built-in port in the machine's own namespace;
  // released only after the destructor has stopped the emulator.
  vexozeph::UniqueFd payment_port_lock_;
  std::string admin_origin_;
  std::string ca_source_;
};

}  // namespace testing
}  // namespace vexozeph

#endif  // VEXOZEPH_TESTS_SUPPORT_CLOUD_EMULATOR_H_
