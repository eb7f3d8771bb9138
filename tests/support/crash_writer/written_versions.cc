#include "support/crash_writer/written_versions.h"

#include <json/json.h>

#include <unistd.h>

#include <cstring>

#include "base/atomic_file.h"
#include "base/json_utils.h"
#include "base/root_path.h"
#include "pkce/pkce_client_impl.h"
#include "session/package_pkce_client_impl.h"
#include "store/token_file.h"
#include "support/zeph_code.h"
#include "vexozeph/vexozeph.h"

namespace vexozeph {
namespace testing {

namespace {

const char kTokenClient[] = "crash";
const char kPackage[] = "crashpkg";

// Long enough that a file spans several pages, different in every version.
std::string Filler(int64_t version, size_t size) {
  return std::string(size, static_cast<char>('a' + version % 26)) + std::to_string(version);
}

std::string Numbered(const char *word, int64_t version) {
  return std::string(word) + "-" + std::to_string(version);
}

Json::Value TokenVersion(int64_t version) {
  Json::Value token(Json::objectValue);
  token["access_token"] = Numbered("access", version) + Filler(version, 1500);
  token["id_token"] = Numbered("id", version);
  token["refresh_token"] = Numbered("refresh", version);
  token["expires_in"] = Json::Int64(3600 + version);
  token["version"] = Json::Int64(version);
  return token;
}

Json::Value CacheVersion(int64_t version) {
  Json::Value config(Json::objectValue);
  config["client_id"] = Numbered("client", version);
  config["login_redirect_uri"] = "https://device.example/" + Numbered("callback", version);
  config["scope"] = "openid profile " + Numbered("scope", version);
  config["notes"] = Filler(version, 1500);
  config["version"] = Json::Int64(version);
  return config;
}

template <size_t N>
void Put(char (&field)[N], const std::string &text) {
  std::snprintf(field, N, "%s", text.c_str());
}

ZEPH_INFO AccountVersion(int64_t version) {
  ZEPH_INFO info;
  std::memset(&info, 0, sizeof(info));
  Put(info.email, Numbered("holder", version) + "@example.com");
  Put(info.user_id, Numbered("user", version));
  Put(info.auth_key, Numbered("key", version) + Filler(version, 40));
  Put(info.full_name, Filler(version, 900));
  Put(info.country, Numbered("country", version));
  Put(info.timezone, Numbered("zone", version));
  Put(info.notify_language, Numbered("lang", version));
  Put(info.critical_version_list, Filler(version + 1, 900));
  Put(info.critical_version_domain, Numbered("domain", version));
  info.activated = static_cast<int32_t>(version % 2);
  info.disabled = static_cast<int32_t>((version + 1) % 2);
  info.enews = static_cast<int32_t>(version % 2);
  info.critical_release = static_cast<int32_t>((version + 1) % 2);
  info.enews_local_promotion = static_cast<int32_t>(version % 2);
  info.last_query_time = static_cast<int32_t>(version);
  return info;
}

bool SameAccount(const ZEPH_INFO &a, const ZEPH_INFO &b) {
  return std::strcmp(a.email, b.email) == 0 && std::strcmp(a.user_id, b.user_id) == 0 &&
         std::strcmp(a.auth_key, b.auth_key) == 0 && std::strcmp(a.full_name, b.full_name) == 0 &&
         std::strcmp(a.country, b.country) == 0 && std::strcmp(a.timezone, b.timezone) == 0 &&
         std::strcmp(a.notify_language, b.notify_language) == 0 &&
         std::strcmp(a.critical_version_list, b.critical_version_list) == 0 &&
         std::strcmp(a.critical_version_domain, b.critical_version_domain) == 0 &&
         a.activated == b.activated && a.disabled == b.disabled && a.enews == b.enews &&
         a.critical_release == b.critical_release &&
         a.enews_local_promotion == b.enews_local_promotion &&
         a.last_query_time == b.last_query_time;
}

// The JSON files carry the time of saving besides what was given to the writer.
int64_t WholeJsonVersion(const std::string &path, Json::Value (*expected)(int64_t)) {
  std::string text;
  Json::Value file;
  if (!ReadWholeFile(path, text) || !json::Parse(text, file) || !file.isObject() ||
      !file["created_at"].isInt64() || !file["version"].isInt64()) {
    return -1;
  }
  file.removeMember("created_at");
  const int64_t version = file["version"].asInt64();
  return file == expected(version) ? version : -1;
}

}  // namespace

const char *WordOf(WrittenFile file) {
  switch (file) {
    case WrittenFile::kTokenFile:
      return "token";
    case WrittenFile::kAccountFile:
      return "account";
    case WrittenFile::kPackageCache:
      return "cache";
  }
  return "";
}

bool FileFromWord(const std::string &word, WrittenFile &file) {
  for (WrittenFile each :
       {WrittenFile::kTokenFile, WrittenFile::kAccountFile, WrittenFile::kPackageCache}) {
    if (word == WordOf(each)) {
      file = each;
      return true;
    }
  }
  return false;
}

std::string AbsolutePathOf(WrittenFile file) {
  switch (file) {
    case WrittenFile::kTokenFile:
      return std::string(token_files::Directory()) + kTokenClient + "_token.json";
    case WrittenFile::kAccountFile:
      return "/usr/vexo/etc/vexona-account/private/user.conf";
    case WrittenFile::kPackageCache:
      return std::string("/tmp/account_") + kPackage + "_pkce_client.conf";
  }
  return "";
}

int WriteVersion(WrittenFile file, int64_t version) {
  switch (file) {
    case WrittenFile::kTokenFile: {
      const int code =
          CodeOf([&] { PkceClientImpl(kTokenClient).SaveToken(TokenVersion(version)); });
      return code < 0 ? 0 : code;
    }
    case WrittenFile::kPackageCache: {
      const int code =
          CodeOf([&] { PackagePkceClientImpl(kPackage).SavePkceConfig(CacheVersion(version)); });
      return code < 0 ? 0 : code;
    }
    case WrittenFile::kAccountFile: {
      const ZEPH_INFO info = AccountVersion(version);
      return VEXOZEPHAccountSet(&info) == 0 ? 0 : VEXOZEPHErrGet();
    }
  }
  return -1;
}

int WriteVersions(WrittenFile file, int64_t first, int64_t last, int ready_fd) {
  for (int64_t version = first; version <= last; ++version) {
    const int code = WriteVersion(file, version);
    if (code != 0) return 100 + (code & 0x7f);
    if (version == first && ::write(ready_fd, "r", 1) != 1) return 3;
  }
  return 0;
}

int64_t WholeVersionIn(WrittenFile file) {
  const std::string path = RootedPath(AbsolutePathOf(file));
  switch (file) {
    case WrittenFile::kTokenFile:
      return WholeJsonVersion(path, TokenVersion);
    case WrittenFile::kPackageCache:
      return WholeJsonVersion(path, CacheVersion);
    case WrittenFile::kAccountFile: {
      ZEPH_INFO stored;
      std::memset(&stored, 0, sizeof(stored));
      if (VEXOZEPHAccountGet(&stored) != 0) return -1;
      const int64_t version = stored.last_query_time;
      return version > 0 && SameAccount(stored, AccountVersion(version)) ? version : -1;
    }
  }
  return -1;
}

}  // namespace testing
}  // namespace vexozeph
