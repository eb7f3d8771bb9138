// Plugin events on a generic Linux host: an event runs every executable file of
//   <root>/usr/vexo/etc/vexozeph/hooks/<plugin>/
// in name order (hidden files and non-executables skipped), each with the environment
//   VEXOZEPH_PLUGIN=<plugin>  VEXOZEPH_ACTION=<action name, e.g. zeph/login>
//   VEXOZEPH_PHASE=pre|post   (actions 4 and 5; other actions give their number)
// stdin from /dev/null and stdout sent to the caller's stderr, so a hook can neither wait
// for input nor mix its output into a tool's answer. Every hook runs even when an
// earlier one fails; the event fails when any hook exits non-zero, cannot be started or
// runs longer than a minute (it is then killed). No hook directory: nothing to do.
#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <new>
#include <string>
#include <vector>

#include "base/log.h"
#include "base/root_path.h"
#include "base/unique_fd.h"
#include "child_process.h"
#include "platform_error.h"
#include "vexo_platform/vlib_plugin.h"

struct _tag_VLIBPLUGIN_ {
  std::string plugin;
  std::string action_name;
};

namespace vexo_platform {
using vexozeph::UniqueFd;

namespace {

constexpr long kHookTimeoutMs = 60 * 1000;

// The plugin name becomes a directory name.
bool ValidPluginName(const char *plugin) {
  if (plugin == nullptr || plugin[0] == '\0') return false;
  for (const char *c = plugin; *c != '\0'; ++c) {
    if (!std::isalnum(static_cast<unsigned char>(*c)) && *c != '_' && *c != '-') return false;
  }
  return true;
}

// The action name goes into an environment variable: printable text only.
bool ValidActionName(const char *name) {
  if (name == nullptr || name[0] == '\0') return false;
  for (const char *c = name; *c != '\0'; ++c) {
    if (*c < 0x20 || *c == 0x7f) return false;
  }
  return true;
}

std::vector<std::string> Hooks(const std::string &dir) {
  std::vector<std::string> hooks;
  DIR *listing = opendir(dir.c_str());
  if (listing == nullptr) return hooks;
  while (struct dirent *entry = readdir(listing)) {
    if (entry->d_name[0] == '.') continue;
    std::string path = dir + "/" + entry->d_name;
    struct stat info;
    if (stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode) && (info.st_mode & 0111) != 0) {
      hooks.push_back(path);
    }
  }
  closedir(listing);
  std::sort(hooks.begin(), hooks.end());
  return hooks;
}

std::string PhaseOf(unsigned int action) {
  if (action == VLIB_PLUGIN_ACTION_PRE) return "pre";
  if (action == VLIB_PLUGIN_ACTION_POST) return "post";
  return std::to_string(action);
}

// Runs one hook; its exit status, or -1 (errno set) when it could not run to its end.
int RunHook(const std::string &hook, const std::vector<std::string> &env) {
  UniqueFd null_input(open("/dev/null", O_RDONLY | O_CLOEXEC));
  ChildProgram program;
  program.path = hook;
  program.argv = {hook};
  program.extra_env = env;
  program.stdin_fd = null_input.Get();
  program.stdout_fd = STDERR_FILENO;
  pid_t pid = StartProgram(program);
  if (pid < 0) return -1;
  return WaitProgram(pid, kHookTimeoutMs);
}

}  // namespace
}  // namespace vexo_platform

extern "C" {

int VLIBPluginSDKInit(const char *plugin, const char *action_name, PVLIBPLUGIN *handle) {
  using namespace vexo_platform;
  if (handle != nullptr) *handle = nullptr;
  if (handle == nullptr || !ValidPluginName(plugin) || !ValidActionName(action_name)) {
    SET_PLATFORM_ERROR(EINVAL);
    return -1;
  }
  // The handle is handed out only once it is whole.
  return GuardPlatformCall(ENOMEM, -1, [&] {
    *handle = new _tag_VLIBPLUGIN_{plugin, action_name};
    return 0;
  });
}

int VLIBPluginAction(PVLIBPLUGIN handle, unsigned int action) {
  using namespace vexo_platform;
  if (handle == nullptr) {
    SET_PLATFORM_ERROR(EINVAL);
    return -1;
  }
  return GuardPlatformCall(ENOMEM, -1, [&] {
    const std::string dir = vexozeph::RootedPath("/usr/vexo/etc/vexozeph/hooks/" + handle->plugin);
    const std::vector<std::string> env = {"VEXOZEPH_PLUGIN=" + handle->plugin,
                                          "VEXOZEPH_ACTION=" + handle->action_name,
                                          "VEXOZEPH_PHASE=" + PhaseOf(action)};
    int result = 0;
    for (const std::string &hook : Hooks(dir)) {
      int status = RunHook(hook, env);
      if (status == 0) continue;
      int error = status < 0 ? errno : ECHILD;
      ZLOG("plugin hook %s failed for %s (%s), status=%d", hook.c_str(),
           handle->action_name.c_str(), PhaseOf(action).c_str(), status);
      SET_PLATFORM_ERROR(error);
      result = -1;
    }
    return result;
  });
}

void VLIBPluginExit(PVLIBPLUGIN handle) {
  delete handle;
}

}  // extern "C"
