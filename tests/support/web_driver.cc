#include "support/web_driver.h"

#include <gtest/gtest.h>
#include <json/writer.h>

#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "base/json_utils.h"
#include "support/child_process.h"
#include "support/http_client.h"

extern char **environ;

namespace vexozeph {
namespace testing {
namespace {

// The key under which WebDriver hands out an element's reference.
const char kElementKey[] = "element-6066-11e4-a52e-4f735466cecf";

bool IsExecutable(const std::string &path) {
  return !path.empty() && access(path.c_str(), X_OK) == 0;
}

// A port nobody listens on now. chromedriver binds it a moment later; another program
// taking it in between would make the start fail, not pass wrongly.
int FreePort() {
  const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  struct sockaddr_in address {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof(address);
  int port = -1;
  if (fd >= 0 && bind(fd, reinterpret_cast<struct sockaddr *>(&address), length) == 0 &&
      getsockname(fd, reinterpret_cast<struct sockaddr *>(&address), &length) == 0) {
    port = ntohs(address.sin_port);
  }
  if (fd >= 0) close(fd);
  if (port < 0) throw std::runtime_error("no free port for chromedriver");
  return port;
}

std::string JsonText(const Json::Value &value) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  return Json::writeString(builder, value);
}

// Runs a program to its end, its output into `log`; its exit status (127 when it could
// not run).
int RunProgram(const std::vector<std::string> &args, const std::string &log) {
  return RunInChild([&] {
    std::vector<char *> argv;
    for (const std::string &arg : args) argv.push_back(const_cast<char *>(arg.c_str()));
    argv.push_back(nullptr);
    if (freopen(log.c_str(), "a", stdout) == nullptr || dup2(fileno(stdout), 2) < 0) return 126;
    execvp(argv[0], argv.data());
    return 127;
  });
}

}  // namespace

std::string FindChromedriver() {
  const char *configured = getenv("CHROMEDRIVER");
  if (configured != nullptr && *configured != '\0') {
    return IsExecutable(configured) ? configured : "";
  }
  std::vector<std::string> candidates;
  std::istringstream path(getenv("PATH") != nullptr ? getenv("PATH") : "");
  for (std::string dir; std::getline(path, dir, ':');) {
    if (!dir.empty()) candidates.push_back(dir + "/chromedriver");
  }
  candidates.push_back("/usr/bin/chromedriver");
  candidates.push_back("/usr/lib/chromium/chromedriver");
  for (const std::string &candidate : candidates) {
    if (IsExecutable(candidate)) return candidate;
  }
  return "";
}

void MakeHomeTrusting(const std::string &home, const std::string &ca_file, const std::string &log) {
  const std::string db = home + "/.pki/nssdb";
  for (const std::string &dir : {home, home + "/.pki", db}) mkdir(dir.c_str(), 0700);
  ASSERT_EQ(RunProgram({"certutil", "-N", "-d", "sql:" + db, "--empty-password"}, log), 0)
      << "certutil (Debian package libnss3-tools) makes Chromium trust the emulator; see " << log;
  ASSERT_EQ(RunProgram({"certutil", "-A", "-d", "sql:" + db, "-n", "zeph-cloud test CA", "-t",
                        "C,,", "-i", ca_file},
                       log),
            0)
      << log;
}

WebDriver::WebDriver(const Options &options) {
  const int port = FreePort();
  origin_ = "http://127.0.0.1:" + std::to_string(port);
  const std::string port_option = "--port=" + std::to_string(port);
  // The environment is made before the fork: the child only execs.
  std::vector<std::string> environment = {"HOME=" + options.home};
  for (char **entry = environ; *entry != nullptr; ++entry) {
    if (std::string(*entry).rfind("HOME=", 0) != 0) environment.push_back(*entry);
  }
  std::vector<char *> envp;
  for (std::string &entry : environment) envp.push_back(&entry[0]);
  envp.push_back(nullptr);
  char *const argv[] = {const_cast<char *>(options.chromedriver.c_str()),
                        const_cast<char *>(port_option.c_str()),
                        const_cast<char *>("--allowed-ips=127.0.0.1"), nullptr};
  pid_ = fork();
  if (pid_ == 0) {
    // The driver, and the browser it starts, go with the test whatever happens to it.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const int log = open(options.log_file.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (log >= 0) {
      dup2(log, STDOUT_FILENO);
      dup2(log, STDERR_FILENO);
    }
    execve(options.chromedriver.c_str(), argv, envp.data());
    _exit(127);
  }
  if (pid_ < 0) throw std::runtime_error("fork failed");

  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  for (;;) {
    try {
      Json::Value status;
      if (json::FromString(Http("GET", origin_ + "/status").body, status) &&
          status["value"]["ready"].asBool()) {
        break;
      }
    } catch (const std::runtime_error &) {
      // not listening yet
    }
    if (std::chrono::steady_clock::now() > deadline || waitpid(pid_, nullptr, WNOHANG) != 0) {
      throw std::runtime_error("chromedriver did not start; its log: " + options.log_file);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }

  // A throwaway profile that talks to nothing but the pages it is sent to. Running as
  // root needs --no-sandbox; containers often have a small /dev/shm.
  Json::Value args(Json::arrayValue);
  for (const char *arg : {"--headless", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage",
                          "--disable-quic", "--no-first-run", "--disable-background-networking",
                          "--disable-component-update", "--disable-sync"}) {
    args.append(arg);
  }
  args.append("--user-data-dir=" + options.user_data_dir);
  Json::Value capabilities;
  capabilities["capabilities"]["alwaysMatch"]["goog:chromeOptions"]["binary"] = options.chromium;
  capabilities["capabilities"]["alwaysMatch"]["goog:chromeOptions"]["args"] = args;
  capabilities["capabilities"]["alwaysMatch"]["timeouts"]["pageLoad"] = 30000;
  session_ = Command("POST", "/session", capabilities)["sessionId"].asString();
  if (session_.empty()) throw std::runtime_error("chromedriver opened no session");
}

WebDriver::~WebDriver() {
  if (!session_.empty()) {
    try {
      Command("DELETE", "");
    } catch (const std::runtime_error &) {
      // the driver is stopped below either way
    }
  }
  if (pid_ > 0) {
    kill(pid_, SIGTERM);
    waitpid(pid_, nullptr, 0);
  }
}

Json::Value WebDriver::Command(const std::string &method, const std::string &path,
                               const Json::Value &body) {
  const std::string url =
      origin_ + (path.rfind("/session", 0) == 0 ? path : "/session/" + session_ + path);
  const HttpResult result =
      Http(method, url, body.isNull() ? "{}" : JsonText(body), "application/json");
  Json::Value answer;
  if (!json::FromString(result.body, answer) || !answer.isObject()) {
    throw std::runtime_error(method + " " + path + ": not JSON: " + result.body);
  }
  if (result.status != 200) {
    throw std::runtime_error(method + " " + path + ": " + std::to_string(result.status) + " " +
                             answer["value"]["error"].asString() + ": " +
                             answer["value"]["message"].asString());
  }
  return answer["value"];
}

void WebDriver::Navigate(const std::string &url) {
  Json::Value body;
  body["url"] = url;
  Command("POST", "/url", body);
}

std::string WebDriver::CurrentUrl() {
  return Command("GET", "/url").asString();
}

std::string WebDriver::Title() {
  return Command("GET", "/title").asString();
}

std::string WebDriver::WaitForTitle(const std::string &title, int seconds) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  std::string seen;
  while ((seen = Title()) != title && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  return seen;
}

std::string WebDriver::FindElement(const std::string &css) {
  Json::Value body;
  body["using"] = "css selector";
  body["value"] = css;
  return Command("POST", "/element", body)[kElementKey].asString();
}

void WebDriver::SendKeys(const std::string &element, const std::string &text) {
  Json::Value body;
  body["text"] = text;
  Command("POST", "/element/" + element + "/value", body);
}

void WebDriver::Click(const std::string &element) {
  Command("POST", "/element/" + element + "/click", Json::Value(Json::objectValue));
}

}  // namespace testing
}  // namespace vexozeph
