// Time zones, the PKCE pair and the package-store account reader, from the fake's choices.
#include <errno.h>

#include <cstring>
#include <string>

#include "fake_state.h"
#include "platform_error.h"
#include "sz_containers.h"
#include "vexo_platform/vexo_payment.h"
#include "vexo_platform/vexo_pkce.h"
#include "vexo_platform/vexo_zone.h"

namespace {

using vexozeph::fake::internal::Enter;
using vexozeph::fake::internal::Get;
using vexozeph::fake::internal::Mutex;
using vexozeph::fake::internal::State;
using vexozeph::fake::internal::Text;

constexpr size_t kPkceBufferSize = 44;

State Snapshot() {
  std::lock_guard<std::mutex> guard(Mutex());
  return Get();
}

}  // namespace

extern "C" {

int VEXOZoneGet(char *buf, size_t size, int *size_needed) {
  if (Enter(__func__, {std::to_string(size)})) return -1;
  const std::string zone = Snapshot().zone;
  if (size_needed != nullptr) *size_needed = static_cast<int>(zone.size() + 1);
  if (buf == nullptr || zone.size() >= size) {
    SET_PLATFORM_ERROR(buf == nullptr ? EINVAL : ERANGE);
    return -1;
  }
  std::memcpy(buf, zone.c_str(), zone.size() + 1);
  return 0;
}

int VEXOZoneGetInfo(const char *zone, PVLIBSZHASH *info) {
  if (Enter(__func__, {Text(zone)})) return -1;
  if (zone == nullptr || info == nullptr) {
    SET_PLATFORM_ERROR(EINVAL);
    return -1;
  }
  const vexozeph::fake::Variables properties = Snapshot().zone_info;
  if (properties.empty()) {
    SET_PLATFORM_ERROR(ENOENT);
    return 0;
  }
  if (*info == nullptr) *info = vexo_platform::HashAlloc(static_cast<int>(properties.size()));
  for (const auto &property : properties) {
    if (vexo_platform::HashSet(info, property.first.c_str(), property.second.c_str()) < 0) {
      return -1;
    }
  }
  return static_cast<int>(properties.size());
}

int vexo_challenge_verifier_no_save(char *challenge, size_t challenge_size, char *verifier,
                                    size_t verifier_size) {
  if (Enter(__func__, {std::to_string(challenge_size), std::to_string(verifier_size)})) {
    return -1;
  }
  State state = Snapshot();
  if (challenge == nullptr || verifier == nullptr || challenge_size < kPkceBufferSize ||
      verifier_size < kPkceBufferSize || state.challenge.size() >= challenge_size ||
      state.verifier.size() >= verifier_size) {
    SET_PLATFORM_ERROR(EINVAL);
    return -1;
  }
  std::memcpy(challenge, state.challenge.c_str(), state.challenge.size() + 1);
  std::memcpy(verifier, state.verifier.c_str(), state.verifier.size() + 1);
  return 0;
}

int VEXOPaymentZephAccountGet(void *record, size_t size) {
  if (Enter(__func__, {std::to_string(size)})) return -1;
  const std::string account = Snapshot().payment_account;
  if (record == nullptr || account.empty() || account.size() >= size) {
    SET_PLATFORM_ERROR(record == nullptr || !account.empty() ? EINVAL : ENOENT);
    return -1;
  }
  std::memset(record, 0, size);
  std::memcpy(record, account.c_str(), account.size());
  return 0;
}

}  // extern "C"
