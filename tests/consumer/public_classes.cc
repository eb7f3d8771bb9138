// A program as a firmware team writes one: compiled apart from the project's targets,
// against the public headers alone, and linked with -lvexozeph alone. It uses each public
// class once and must be able to catch the library's exception by its type.
#include <cstdio>
#include <exception>
#include <string>

#include "vexozeph/account_pkce_service.h"
#include "vexozeph/account_service.h"
#include "vexozeph/account_vigilon_service.h"
#include "vexozeph/file_lock.h"
#include "vexozeph/package_pkce_client.h"
#include "vexozeph/server_info.h"
#include "vexozeph/tarn_service.h"
#include "vexozeph/user.h"
#include "vexozeph/zeph_exception.h"

namespace {

int g_failures = 0;

void Expect(bool ok, const char *what) {
  if (!ok) {
    std::fprintf(stderr, "FAILED: %s\n", what);
    ++g_failures;
  }
}

}  // namespace

int main() {
  // Thrown inside the library, caught here by type: the root holds no serial number.
  try {
    vexozeph::TarnService tarn;
    tarn.GetSerialNo();
    Expect(false, "reading a missing serial number throws");
  } catch (const vexozeph::ZephException &e) {
    Expect(e.GetCode() == 8, "a missing serial number is code 8");
  } catch (...) {
    Expect(false, "the library's exception is caught by its own type");
  }

  // Thrown here, caught through the standard base and told apart by type.
  try {
    throw vexozeph::ZephException(14u);
  } catch (const std::exception &e) {
    const vexozeph::ZephException *zeph = dynamic_cast<const vexozeph::ZephException *>(&e);
    Expect(zeph != nullptr && zeph->GetCode() == 14, "a ZephException is told apart by type");
    Expect(std::string(e.what()).find(" [code=14]") != std::string::npos, "what() names the code");
  }

  vexozeph::FileLock lock("/tmp/account_consumer.lock");
  Expect(lock.Lock(5), "the lock is taken");
  lock.Unlock();

  vexozeph::ServerInfo servers;
  Expect(servers.GetPaymentHost().rfind("https://", 0) == 0, "the payment host is an HTTPS base");

  vexozeph::AccountService service("https://account.example", "https://identity.example");
  Expect(service.GetAccountHost() == "https://account.example", "fixed hosts are kept");

  // The device session needs its sign-in template, which an empty root lacks.
  try {
    vexozeph::AccountPkceService session;
    session.LogoutLocal();
    Expect(false, "a session without its sign-in template cannot be built");
  } catch (const vexozeph::ZephException &e) {
    Expect(e.GetCode() == 2, "a missing sign-in template is code 2");
  }

  // A package name is checked before it becomes part of a path.
  try {
    vexozeph::PackagePkceClient package("../etc");
    Expect(false, "a package name with a path in it is refused");
  } catch (const vexozeph::ZephException &e) {
    Expect(e.GetCode() == 1, "an invalid package name is code 1");
  }

  // A package borrows the device session, which an empty root cannot build either.
  try {
    vexozeph::AccountVigilonService monitoring;
    monitoring.Grant("vigilon-cloud", "monitor", "https://monitor.example/cb", "s1");
    Expect(false, "a monitoring grant without a device session fails");
  } catch (const vexozeph::ZephException &e) {
    Expect(e.GetCode() == 2, "the missing sign-in template surfaces as code 2");
  }

  // A process that cannot raise its privileges gets code 6; either way nobody is signed in.
  try {
    vexozeph::User user;
    Expect(!user.Exists(), "an empty root has no account");
  } catch (const vexozeph::ZephException &e) {
    Expect(e.GetCode() == 6, "without privileges the account file is a system error");
  }

  if (g_failures == 0) std::printf("consumer ok\n");
  return g_failures == 0 ? 0 : 1;
}
