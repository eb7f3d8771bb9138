// Stand-ins for the libc calls that replace a file, linked into the crash writer alone.
// Defined in the program itself, they come before libc's for every caller in the process,
// the library included. CRASH_WRITER_FAULT="<call>:<n>:<action>" acts on the n-th call of
// <call> (write, fsync, rename or renameat); <action> is "before" or "after" (the process
// kills itself with SIGKILL before or after making the call) or "enospc" (the call fails
// with ENOSPC without being made). Only writes to regular files are counted: the ready
// byte on the pipe and log lines are not part of a file's replacement.
#include <dlfcn.h>
#include <errno.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

struct Fault {
  bool parsed = false;
  char call[16] = "";
  long nth = 0;
  char action[16] = "";
};

Fault &TheFault() {
  static Fault fault;
  if (!fault.parsed) {
    fault.parsed = true;
    const char *text = getenv("CRASH_WRITER_FAULT");
    if (text == nullptr ||
        sscanf(text, "%15[a-z]:%ld:%15[a-z]", fault.call, &fault.nth, fault.action) != 3) {
      fault.call[0] = '\0';
    }
  }
  return fault;
}

enum class Step { kCall, kFail, kKillAfter };

// Counts one call of `call` and says what to do with it.
Step Next(const char *call) {
  static long counts[4];
  static const char *const kCalls[4] = {"write", "fsync", "rename", "renameat"};
  const Fault &fault = TheFault();
  if (strcmp(fault.call, call) != 0) return Step::kCall;
  long count = 0;
  for (int i = 0; i < 4; ++i) {
    if (strcmp(kCalls[i], call) == 0) count = ++counts[i];
  }
  if (count != fault.nth) return Step::kCall;
  if (strcmp(fault.action, "before") == 0) kill(getpid(), SIGKILL);
  if (strcmp(fault.action, "enospc") == 0) return Step::kFail;
  return strcmp(fault.action, "after") == 0 ? Step::kKillAfter : Step::kCall;
}

template <typename Function>
Function Real(const char *name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

// Runs the real call unless the fault says otherwise.
template <typename Call>
auto Around(const char *name, Call call) -> decltype(call()) {
  const Step step = Next(name);
  if (step == Step::kFail) {
    errno = ENOSPC;
    return -1;
  }
  auto result = call();
  if (step == Step::kKillAfter) kill(getpid(), SIGKILL);
  return result;
}

bool IsRegularFile(int fd) {
  struct stat info;
  return fd > 2 && fstat(fd, &info) == 0 && S_ISREG(info.st_mode);
}

}  // namespace

extern "C" ssize_t write(int fd, const void *data, size_t size) {
  static auto real = Real<ssize_t (*)(int, const void *, size_t)>("write");
  if (!IsRegularFile(fd)) return real(fd, data, size);
  return Around("write", [&] { return real(fd, data, size); });
}

extern "C" int fsync(int fd) {
  static auto real = Real<int (*)(int)>("fsync");
  return Around("fsync", [&] { return real(fd); });
}

extern "C" int rename(const char *from, const char *to) {
  static auto real = Real<int (*)(const char *, const char *)>("rename");
  return Around("rename", [&] { return real(from, to); });
}

extern "C" int renameat(int from_dir, const char *from, int to_dir, const char *to) {
  static auto real = Real<int (*)(int, const char *, int, const char *)>("renameat");
  return Around("renameat", [&] { return real(from_dir, from, to_dir, to); });
}
