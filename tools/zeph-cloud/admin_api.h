// The admin API (plain HTTP, loopback only, never on the public hosts): accounts,
// devices, clients, lifetimes, clock, revocation, forced answers, faults, the request log,
// scripted authorization codes and the PKCE templates.
#ifndef ZEPH_CLOUD_ADMIN_API_H_
#define ZEPH_CLOUD_ADMIN_API_H_

#include "emulator.h"
#include "router.h"

namespace zeph_cloud {

void AddAdminApi(Router &router, Emulator &emulator);

// Creates an account from the admin API's JSON; false with `error` set when the input is
// malformed or the e-mail is taken. Call with the emulator's mutex held.
bool CreateAccount(State &state, const Json::Value &input, Account &created, std::string &error);

// Creates or replaces a device from the admin API's JSON. Call with the mutex held.
bool CreateDevice(State &state, const Json::Value &input, Device &created, std::string &error);

}  // namespace zeph_cloud

#endif  // ZEPH_CLOUD_ADMIN_API_H_
