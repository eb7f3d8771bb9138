#include "internal/account_request.h"

#include <memory>

#include "internal/json_utils.h"
#include "internal/log.h"
#include "internal/root_path.h"
#include "vexo_platform/vexo_zone.h"
#include "vexo_platform/vlib_error.h"
#include "vexo_platform/vlib_file.h"
#include "vexo_platform/vlib_string.h"

namespace vexozeph {

namespace {
const char kSettingsFile[] = "/etc/vexoinfo.conf";
const size_t kLanguageSize = 32;
const size_t kZoneNameSize = 256;
}  // namespace

std::string ReadInterfaceLanguage() {
  char language[kLanguageSize] = {0};
  int found = VLIBCFileGetKeyValue(RootedPath(kSettingsFile).c_str(), "language", language,
                                   sizeof(language), 0);
  if (found <= 0 || language[0] == '\0') return "enu";
  return language;
}

bool IsReportDisabled() {
  return VLIBCFileCheckKeyValue(RootedPath(kSettingsFile).c_str(), "zeph_disable_report", "yes",
                                0) == 1;
}

int ReadZoneNameInTzdb(const char *module, std::string &zone) {
  char name[kZoneNameSize] = {0};
  int needed = 0;
  if (VEXOZoneGet(name, sizeof(name), &needed) < 0) {
    log::Write(LOG_ERR, "%s:%d failed to get time zone, size need: %d, err=[0x%04X %s:%d]", module,
               __LINE__, needed, VLIBCErrGet(), VLIBCErrorGetFile(), VLIBCErrorGetLine());
    return -1;
  }
  FormHash info;
  if (!info.ok()) {
    log::Write(LOG_ERR, "%s:%d Failed to alloc pTZInfo, err=[0x%04X %s:%d]", module, __LINE__,
               VLIBCErrGet(), VLIBCErrorGetFile(), VLIBCErrorGetLine());
    return VEXOZEPHErrSet(VEXOZEPH_ERR_SYSTEM), -1;
  }
  if (VEXOZoneGetInfo(name, info.address()) <= 0) {
    log::Write(LOG_ERR, "%s:%d failed to get timezone info[0x%04X %s:%d]", module, __LINE__,
               VLIBCErrGet(), VLIBCErrorGetFile(), VLIBCErrorGetLine());
    return VEXOZEPHErrSet(VEXOZEPH_ERR_SYSTEM), -1;
  }
  const char *tzdb = VLIBCSzHashGetValue(info.get(), "nameInTZDB");
  if (tzdb == nullptr) {
    log::Write(LOG_ERR, "%s:%d failed to get tmz[0x%04X %s:%d]", module, __LINE__, VLIBCErrGet(),
               VLIBCErrorGetFile(), VLIBCErrorGetLine());
    return VEXOZEPHErrSet(VEXOZEPH_ERR_SYSTEM), -1;
  }
  zone = tzdb;
  return 0;
}

int ReadAccountHost(const char *module, std::string &host) {
  char config[VEXOZEPH_SERVER_CONFIG_SIZE] = {0};
  if (VEXOZEPHServerConfigGet(config) < 0) {
    log::Write(LOG_ERR, "%s:%d VEXOZEPHServerConfigGet, code=%u", module, __LINE__,
               static_cast<unsigned int>(VEXOZEPHErrGet()));
    return VEXOZEPHErrSet(VEXOZEPH_ERR_SERVER_CONFIG), -1;
  }
  host = config + VEXOZEPH_SERVER_CONFIG_HALF;
  return 0;
}

FormHash::FormHash() : hash_(VLIBCSzHashAlloc(kAccountHashSize)) {}

FormHash::~FormHash() { VLIBCSzHashFree(hash_); }

bool FormHash::Set(const char *key, const std::string &value) {
  return hash_ != nullptr && VLIBCSzHashSetValue(&hash_, key, value.c_str()) >= 0;
}

HttpsReply::HttpsReply() : raw_() {}

HttpsReply::~HttpsReply() { VEXOZEPHHttpsResponseFree(&raw_); }

int SendAccountForm(const std::string &host, const char *path, const FormHash &form,
                    bool short_timeout, HttpsReply &reply) {
  // The record carries two 4 KiB text fields; keep it off the small stacks of callers.
  std::unique_ptr<VEXOZEPH_HTTPS_REQUEST> request(new VEXOZEPH_HTTPS_REQUEST());
  request->host = host.c_str();
  request->path = path;
  request->params = form.get();
  request->method = VEXOZEPH_HTTPS_METHOD_POST;
  request->short_timeout = short_timeout ? 1 : 0;
  return VEXOZEPHHttpsRequestSend(request.get(), reply.raw());
}

bool ParseReply(const char *body, Json::Value &out) {
  return body != nullptr && json::Parse(body, out);
}

}  // namespace vexozeph
