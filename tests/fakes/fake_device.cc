// Device facts and the cloud-service library, answered from the fake's choices.
#include <errno.h>

#include <cstring>
#include <string>

#include "fake_state.h"
#include "platform_error.h"
#include "vexo_platform/vexo_cloud_service.h"
#include "vexo_platform/vlib_device.h"

namespace {

using vexozeph::fake::internal::Enter;
using vexozeph::fake::internal::Get;
using vexozeph::fake::internal::Mutex;
using vexozeph::fake::internal::State;
using vexozeph::fake::internal::Text;

// Like the real platform: the text cut to size-1, or (strict) failure when it does not fit.
int Answer(const std::string &text, char *buf, size_t size, bool strict) {
  if (buf == nullptr || size == 0 || (strict && text.size() >= size)) {
    SET_PLATFORM_ERROR(buf == nullptr ? EINVAL : ERANGE);
    return -1;
  }
  size_t length = text.size() < size - 1 ? text.size() : size - 1;
  std::memcpy(buf, text.data(), length);
  buf[length] = '\0';
  return 0;
}

std::string Chosen(std::string State::*member) {
  std::lock_guard<std::mutex> guard(Mutex());
  return Get().*member;
}

// A registration: the next chosen key, else a numbered one; it becomes the stored key.
std::string Register() {
  std::lock_guard<std::mutex> guard(Mutex());
  State &state = Get();
  std::string key;
  if (!state.new_api_keys.empty()) {
    key = state.new_api_keys.front();
    state.new_api_keys.erase(state.new_api_keys.begin());
  } else {
    key = "fake-apikey-" + std::to_string(++state.registrations);
  }
  state.api_key = key;
  return key;
}

}  // namespace

extern "C" {

int VLIBGetSerialNumber(char *buf, size_t size) {
  if (Enter(__func__, {std::to_string(size)})) return -1;
  return Answer(Chosen(&State::serial), buf, size, false);
}

int VLIBBxinfoUserAgentGet(char *buf, size_t size) {
  if (Enter(__func__, {std::to_string(size)})) return -1;
  return Answer(Chosen(&State::user_agent), buf, size, true);
}

int VEXOBxinfoCloudServiceGetMacAddress(char *buf, size_t size) {
  if (Enter(__func__, {std::to_string(size)})) return -1;
  return Answer(Chosen(&State::mac), buf, size, true);
}

int VEXOCloudServiceGetApiKey(char *buf, size_t size, int flag) {
  if (Enter(__func__, {std::to_string(size), std::to_string(flag)})) return -1;
  std::string key = Chosen(&State::api_key);
  if (key.empty()) {
    if (flag != 1) {
      SET_PLATFORM_ERROR(ENOENT);
      return -1;
    }
    key = Register();
  }
  return Answer(key, buf, size, true);
}

int VEXOCloudServiceRegisterApiKey(char *buf, size_t size) {
  if (Enter(__func__, {std::to_string(size)})) return -1;
  return Answer(Register(), buf, size, true);
}

int VEXOCloudServiceActionHandler(int action) {
  if (Enter(__func__, {std::to_string(action)})) return -1;
  std::lock_guard<std::mutex> guard(Mutex());
  Get().cloud_service_actions.push_back(action);
  return 0;
}

int VEXOCloudServiceGetErrorCode(void) {
  std::lock_guard<std::mutex> guard(Mutex());
  return Get().cloud_service_error;
}

int VEXOCloudServiceBxtokenGenerateToken(const char *serial, char *token, size_t size) {
  if (Enter(__func__, {Text(serial), std::to_string(size)})) return -1;
  if (serial == nullptr) {
    SET_PLATFORM_ERROR(EINVAL);
    return -1;
  }
  return Answer(Chosen(&State::device_token), token, size, true);
}

}  // extern "C"
