#include "account/appliance_settings.h"

#include "base/root_path.h"
#include "transport/form_hash.h"
#include "vexo_platform/vexo_zone.h"
#include "vexo_platform/vlib_error.h"
#include "vexo_platform/vlib_file.h"
#include "vexo_platform/vlib_string.h"
#include "vexozeph/vexozeph.h"

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

int ReadZoneNameInTzdb(const log::Place &where, std::string &zone) {
  char name[kZoneNameSize] = {0};
  int needed = 0;
  if (VEXOZoneGet(name, sizeof(name), &needed) < 0) {
    ZLOG_FROM(where, "failed to get time zone, size need: %d, err=[0x%04X %s:%d]", needed,
              VLIB_LAST_ERROR_ARGS);
    return -1;
  }
  FormHash info;
  if (!info.ok()) {
    ZLOG_FROM(where, "Failed to alloc pTZInfo, err=[0x%04X %s:%d]", VLIB_LAST_ERROR_ARGS);
    return VEXOZEPHErrSet(VEXOZEPH_ERR_SYSTEM), -1;
  }
  if (VEXOZoneGetInfo(name, info.address()) <= 0) {
    ZLOG_FROM(where, "failed to get timezone info[0x%04X %s:%d]", VLIB_LAST_ERROR_ARGS);
    return VEXOZEPHErrSet(VEXOZEPH_ERR_SYSTEM), -1;
  }
  const char *tzdb = VLIBCSzHashGetValue(info.get(), "nameInTZDB");
  if (tzdb == nullptr) {
    ZLOG_FROM(where, "failed to get tmz[0x%04X %s:%d]", VLIB_LAST_ERROR_ARGS);
    return VEXOZEPHErrSet(VEXOZEPH_ERR_SYSTEM), -1;
  }
  zone = tzdb;
  return 0;
}

}  // namespace vexozeph
