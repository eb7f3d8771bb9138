#include "account/appliance_settings.h"

#include "base/root_path.h"
#include "core/failure.h"
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

std::string ReadZoneNameInTzdb(const log::Place &where) {
  char name[kZoneNameSize] = {0};
  int needed = 0;
  if (VEXOZoneGet(name, sizeof(name), &needed) < 0) {
    ZLOG_FROM(where, "failed to get time zone, size need: %d, err=[0x%04X %s:%d]", needed,
              VLIB_LAST_ERROR_ARGS);
    FailKeepingLastError(VEXOZEPH_ERR_SYSTEM);
  }
  FormHash info;
  if (!info.ok()) {
    ZLOG_FROM(where, "Failed to alloc pTZInfo, err=[0x%04X %s:%d]", VLIB_LAST_ERROR_ARGS);
    Fail(VEXOZEPH_ERR_SYSTEM);
  }
  if (VEXOZoneGetInfo(name, info.address()) <= 0) {
    ZLOG_FROM(where, "failed to get timezone info[0x%04X %s:%d]", VLIB_LAST_ERROR_ARGS);
    Fail(VEXOZEPH_ERR_SYSTEM);
  }
  const char *tzdb = VLIBCSzHashGetValue(info.get(), "nameInTZDB");
  if (tzdb == nullptr) {
    ZLOG_FROM(where, "failed to get tmz[0x%04X %s:%d]", VLIB_LAST_ERROR_ARGS);
    Fail(VEXOZEPH_ERR_SYSTEM);
  }
  return tzdb;
}

}  // namespace vexozeph
