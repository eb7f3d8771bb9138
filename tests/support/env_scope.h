// Sets environment variables for the life of the object and puts back what was there,
// including their absence.
#ifndef VEXOZEPH_TESTS_SUPPORT_ENV_SCOPE_H_
#define VEXOZEPH_TESTS_SUPPORT_ENV_SCOPE_H_

#include <stdlib.h>

#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

namespace vexozeph {
namespace testing {

class EnvScope {
 public:
  explicit EnvScope(std::initializer_list<std::pair<const char *, std::string>> variables) {
    for (const auto &variable : variables) {
      const char *old = ::getenv(variable.first);
      saved_.push_back({variable.first, old != nullptr, old != nullptr ? old : ""});
      ::setenv(variable.first, variable.second.c_str(), 1);
    }
  }
  ~EnvScope() {
    for (const Saved &saved : saved_) {
      if (saved.had) {
        ::setenv(saved.name.c_str(), saved.value.c_str(), 1);
      } else {
        ::unsetenv(saved.name.c_str());
      }
    }
  }
  EnvScope(const EnvScope &) = delete;
  EnvScope &operator=(const EnvScope &) = delete;

 private:
  struct Saved {
    std::string name;
    bool had;
    std::string value;
  };
  std::vector<Saved> saved_;
};

}  // namespace testing
}  // namespace vexozeph

#endif  // VEXOZEPH_TESTS_SUPPORT_ENV_SCOPE_H_
