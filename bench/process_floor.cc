// The floor of a whole-process row: the least a C++ program linked like the tool
// (libstdc++, libcurl, JsonCpp, OpenSSL) does for the same job. bench/run-bench times it
// beside `vexozeph` and judges the tool against it.
//
//   process_floor --ca FILE [--store-profile FILE --lock FILE]
//                 (--request METHOD URL [--header "Name: value"]... [--data BODY])...
//
// Each request is sent as the tool sends it: its own libcurl handle with the library's
// transfer settings (peer and host verified against FILE alone, TLS 1.0 or later, no key
// log, HTTPS-only redirects, the long time-outs), the recorded method, headers and body.
// Each answer is read whole and parsed with JsonCpp; it must be a 200 with "code" "good",
// or the program fails, so that a refused request can never time as a cheaper answer.
// With --store-profile the last answer's profile is stored in the account file FILE as
// the account query stores it: under the lock FILE, the file read, the profile's keys
// replaced (the query time set to now), and the file replaced atomically: a new file
// (0600) beside it, written, flushed, renamed over it. The directory is not flushed:
// the tool stores server data that way too. Prints nothing; exits 0 on success.
#include <curl/curl.h>
#include <fcntl.h>
#include <json/json.h>
#include <openssl/ssl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "store/user_fields.h"

namespace {

struct Request {
  std::string method;
  std::string url;
  std::string agent;
  std::vector<std::string> headers;
  std::string body;
};

struct Options {
  std::string ca;
  std::string account_file;
  std::string lock_file;
  std::vector<Request> requests;
};

// The file key of each of the account record's accessors, and the answer member each of
// the profile's keys comes from: the tables the library's own record is generated from.
struct FileKey {
  const char *accessor;
  const char *key;
};
#define VEXOZEPH_FLOOR_KEY(Name, key, default_value) {#Name, key},
const FileKey kFileKeys[] = {VEXOZEPH_USER_TEXT_FIELDS(VEXOZEPH_FLOOR_KEY)
                                 VEXOZEPH_USER_BOOL_FIELDS(VEXOZEPH_FLOOR_KEY)
                                     VEXOZEPH_USER_NUMBER_FIELDS(VEXOZEPH_FLOOR_KEY)};
#undef VEXOZEPH_FLOOR_KEY

struct ProfileMember {
  const char *member;
  const char *accessor;
};
#define VEXOZEPH_FLOOR_MEMBER(member, Name) {#member, #Name},
const ProfileMember kTexts[] = {VEXOZEPH_PROFILE_TEXT_FIELDS(VEXOZEPH_FLOOR_MEMBER)};
const ProfileMember kFlags[] = {VEXOZEPH_PROFILE_FLAG_FIELDS(VEXOZEPH_FLOOR_MEMBER)};
#undef VEXOZEPH_FLOOR_MEMBER

const char *KeyOf(const char *accessor) {
  for (const FileKey &k : kFileKeys) {
    if (std::strcmp(k.accessor, accessor) == 0) return k.key;
  }
  return accessor;
}

bool Fail(const std::string &why) {
  std::fprintf(stderr, "process_floor: %s\n", why.c_str());
  return false;
}

bool ParseOptions(int argc, char **argv, Options &options) {
  for (int i = 1; i < argc; ++i) {
    const std::string flag = argv[i];
    const bool has_value = i + 1 < argc;
    if (flag == "--ca" && has_value) {
      options.ca = argv[++i];
    } else if (flag == "--store-profile" && has_value) {
      options.account_file = argv[++i];
    } else if (flag == "--lock" && has_value) {
      options.lock_file = argv[++i];
    } else if (flag == "--request" && i + 2 < argc) {
      options.requests.emplace_back();
      options.requests.back().method = argv[++i];
      options.requests.back().url = argv[++i];
    } else if (flag == "--header" && has_value && !options.requests.empty()) {
      const std::string header = argv[++i];
      static const char kAgent[] = "User-Agent: ";
      if (header.compare(0, sizeof(kAgent) - 1, kAgent) == 0) {
        options.requests.back().agent = header.substr(sizeof(kAgent) - 1);
      } else {
        options.requests.back().headers.push_back(header);
      }
    } else if (flag == "--data" && has_value && !options.requests.empty()) {
      options.requests.back().body = argv[++i];
    } else {
      return Fail("unknown or incomplete option " + flag);
    }
  }
  if (options.ca.empty() || options.requests.empty()) return Fail("--ca and --request needed");
  if (options.account_file.empty() != options.lock_file.empty()) {
    return Fail("--store-profile and --lock go together");
  }
  return true;
}

size_t Append(char *bytes, size_t size, size_t count, void *body) {
  static_cast<std::string *>(body)->append(bytes, size * count);
  return size * count;
}

CURLcode WithoutKeyLog(CURL *, void *ssl_ctx, void *) {
  SSL_CTX_set_keylog_callback(static_cast<SSL_CTX *>(ssl_ctx), nullptr);
  return CURLE_OK;
}

// Sends `request` with the library's transfer settings; its answer parsed into `answer`.
bool Send(const Options &options, const Request &request, Json::Value &answer) {
  CURL *curl = curl_easy_init();
  if (curl == nullptr) return Fail("no libcurl handle");
  curl_slist *headers = nullptr;
  for (const std::string &header : request.headers) {
    headers = curl_slist_append(headers, header.c_str());
  }
  std::string body;
  curl_easy_setopt(curl, CURLOPT_URL, request.url.c_str());
  if (request.method == "POST") {
    curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE, static_cast<long>(request.body.size()));
    curl_easy_setopt(curl, CURLOPT_POSTFIELDS, request.body.c_str());
  } else if (request.method != "GET") {
    curl_easy_setopt(curl, CURLOPT_CUSTOMREQUEST, request.method.c_str());
  }
  curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers);
  if (!request.agent.empty()) curl_easy_setopt(curl, CURLOPT_USERAGENT, request.agent.c_str());
  curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 1L);
  curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "https");
  curl_easy_setopt(curl, CURLOPT_REDIR_PROTOCOLS_STR, "https");
  curl_easy_setopt(curl, CURLOPT_MAXREDIRS, 10L);
  curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, 1L);
  curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, 2L);
  curl_easy_setopt(curl, CURLOPT_CAINFO, options.ca.c_str());
  curl_easy_setopt(curl, CURLOPT_CAPATH, nullptr);
  curl_easy_setopt(curl, CURLOPT_SSLVERSION, CURL_SSLVERSION_TLSv1);
  curl_easy_setopt(curl, CURLOPT_SSL_CTX_FUNCTION, WithoutKeyLog);
  curl_easy_setopt(curl, CURLOPT_LOW_SPEED_LIMIT, 128L);
  curl_easy_setopt(curl, CURLOPT_LOW_SPEED_TIME, 60L);
  curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT, 120L);
  curl_easy_setopt(curl, CURLOPT_TIMEOUT, 120L);
  curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, Append);
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, &body);
  const CURLcode rc = curl_easy_perform(curl);
  long status = 0;
  curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
  curl_easy_cleanup(curl);
  curl_slist_free_all(headers);
  if (rc != CURLE_OK) return Fail(request.url + ": " + curl_easy_strerror(rc));
  if (status != 200) return Fail(request.url + ": status " + std::to_string(status));

  std::string errors;
  std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
  if (!reader->parse(body.data(), body.data() + body.size(), &answer, &errors)) {
    return Fail(request.url + ": not JSON: " + errors);
  }
  if (!answer.isObject() || answer["code"] != "good") return Fail(request.url + ": " + body);
  return true;
}

// The profile of a query's answer as the account file's keys and values.
std::vector<std::pair<std::string, std::string>> ProfileOf(const Json::Value &answer) {
  std::vector<std::pair<std::string, std::string>> values;
  for (const ProfileMember &text : kTexts) {
    values.emplace_back(KeyOf(text.accessor), answer[text.member].asString());
  }
  for (const ProfileMember &flag : kFlags) {
    values.emplace_back(KeyOf(flag.accessor), answer[flag.member].asBool() ? "yes" : "no");
  }
  std::string list;
  std::string domain;
  const Json::Value &versions = answer["critical_version_list"];
  for (const std::string &name : versions.getMemberNames()) {
    domain += (domain.empty() ? "" : ",") + name;
    if (versions[name].asBool()) list += (list.empty() ? "" : ",") + name;
  }
  values.emplace_back(KeyOf("CriticalVersionList"), list);
  values.emplace_back(KeyOf("CriticalVersionDomain"), domain);
  values.emplace_back(KeyOf("IsRealnameValidationPass"),
                      answer["realname_validation_pass"].asBool() ? "yes" : "no");
  if (answer["report_cron_timestring"].isString()) {
    values.emplace_back(KeyOf("ReportCronTimestring"), answer["report_cron_timestring"].asString());
  }
  values.emplace_back(KeyOf("LastQueryTime"), std::to_string(std::time(nullptr)));
  return values;
}

bool ReadFile(const std::string &path, std::string &text) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return Fail("cannot open " + path);
  char buffer[4096];
  ssize_t n = 0;
  while ((n = ::read(fd, buffer, sizeof(buffer))) > 0) text.append(buffer, n);
  ::close(fd);
  return n == 0 || Fail("cannot read " + path);
}

// The file's lines with each of `values`' keys given its new value, the absent ones added.
std::string Merged(const std::string &old_text,
                   std::vector<std::pair<std::string, std::string>> values) {
  std::string text;
  size_t start = 0;
  while (start < old_text.size()) {
    size_t end = old_text.find('\n', start);
    end = end == std::string::npos ? old_text.size() : end + 1;
    const std::string line = old_text.substr(start, end - start);
    start = end;
    const std::string key = line.substr(0, line.find('='));
    bool replaced = false;
    for (auto it = values.begin(); it != values.end(); ++it) {
      if (it->first != key) continue;
      text += key + "=\"" + it->second + "\"\n";
      values.erase(it);
      replaced = true;
      break;
    }
    if (!replaced) text += line;
  }
  for (const auto &value : values) text += value.first + "=\"" + value.second + "\"\n";
  return text;
}

bool StoreProfile(const Options &options, const Json::Value &answer) {
  const int lock = ::open(options.lock_file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
  if (lock < 0 || ::flock(lock, LOCK_EX) != 0) return Fail("cannot lock " + options.lock_file);
  std::string old_text;
  bool stored = ReadFile(options.account_file, old_text);
  const std::string text = stored ? Merged(old_text, ProfileOf(answer)) : std::string();
  if (stored && text != old_text) {
    const std::string &path = options.account_file;
    const size_t slash = path.rfind('/');
    const std::string temporary =
        path.substr(0, slash + 1) + "." + path.substr(slash + 1) + ".floor";
    const int fd =
        ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0600);
    stored = fd >= 0 &&
             ::write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size()) &&
             ::fsync(fd) == 0;
    if (fd >= 0) ::close(fd);
    stored = (stored && ::rename(temporary.c_str(), path.c_str()) == 0) ||
             Fail("cannot replace " + path);
  }
  ::close(lock);
  return stored;
}

}  // namespace

int main(int argc, char **argv) {
  Options options;
  if (!ParseOptions(argc, argv, options)) return 2;
  Json::Value answer;
  for (const Request &request : options.requests) {
    if (!Send(options, request, answer)) return 1;
  }
  if (!options.account_file.empty() && !StoreProfile(options, answer)) return 1;
  return 0;
}
