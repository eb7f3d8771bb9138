// Directory scaffolding for tests: a root made inside a chosen directory, and the names a
// piece of code creates in a directory while it runs.
#ifndef VEXOZEPH_TESTS_SUPPORT_TEST_DIRS_H_
#define VEXOZEPH_TESTS_SUPPORT_TEST_DIRS_H_

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <functional>
#include <memory>
#include <set>
#include <string>

#include "support/temp_root.h"

namespace vexozeph {
namespace testing {

// A root created inside `parent` (TempRoot places itself in the temporary directory).
inline std::unique_ptr<TempRoot> RootInside(const std::string &parent) {
  const char *previous = getenv("TMPDIR");
  const std::string saved = previous != nullptr ? previous : "";
  setenv("TMPDIR", parent.c_str(), 1);
  std::unique_ptr<TempRoot> root(new TempRoot());
  if (previous != nullptr) {
    setenv("TMPDIR", saved.c_str(), 1);
  } else {
    unsetenv("TMPDIR");
  }
  return root;
}

// The names created in `dir` (or renamed away from there) while `body` runs.
inline std::set<std::string> NamesCreatedDuring(const std::string &dir,
                                                const std::function<void()> &body) {
  std::set<std::string> names;
  const int watch = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
  if (watch < 0 || ::inotify_add_watch(watch, dir.c_str(), IN_CREATE | IN_MOVED_FROM) < 0) {
    ADD_FAILURE() << "cannot watch " << dir;
    if (watch >= 0) ::close(watch);
    return names;
  }
  body();
  alignas(struct inotify_event) char events[64 * 1024];
  ssize_t length;
  while ((length = ::read(watch, events, sizeof(events))) > 0) {
    for (ssize_t at = 0; at < length;) {
      const auto *event = reinterpret_cast<const struct inotify_event *>(events + at);
      if (event->len > 0) names.insert(event->name);
      at += static_cast<ssize_t>(sizeof(struct inotify_event) + event->len);
    }
  }
  ::close(watch);
  return names;
}

}  // namespace testing
}  // namespace vexozeph

#endif  // VEXOZEPH_TESTS_SUPPORT_TEST_DIRS_H_
