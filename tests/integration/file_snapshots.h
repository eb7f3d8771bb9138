// What a set of files below a test's root hold, or that they are absent: taken before a
// call to compare with afterwards, and put back between the rows of a table.
#ifndef VEXOZEPH_TESTS_INTEGRATION_FILE_SNAPSHOTS_H_
#define VEXOZEPH_TESTS_INTEGRATION_FILE_SNAPSHOTS_H_

#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "support/temp_root.h"

namespace vexozeph {
namespace testing {

class FileSnapshots {
 public:
  // Absolute paths (below the root) to the content, or nullopt for an absent file.
  using Contents = std::map<std::string, std::optional<std::string>>;

  FileSnapshots(const TempRoot &root, std::vector<std::string> paths)
      : root_(root), paths_(std::move(paths)) {}

  Contents Take() const {
    Contents contents;
    for (const std::string &path : paths_) {
      contents[path] =
          root_.Exists(path) ? std::optional<std::string>(root_.ReadFile(path)) : std::nullopt;
    }
    return contents;
  }

  // Removes what was absent and rewrites, private to the owner, what changed.
  void Restore(const Contents &contents) const {
    const Contents now = Take();
    for (const auto &file : contents) {
      const std::string path = root_.Path(file.first);
      if (!file.second) {
        ::unlink(path.c_str());
      } else if (now.at(file.first) != file.second) {
        std::ofstream(path, std::ios::trunc | std::ios::binary) << *file.second;
        ::chmod(path.c_str(), 0600);
      }
    }
  }

 private:
  const TempRoot &root_;
  std::vector<std::string> paths_;
};

}  // namespace testing
}  // namespace vexozeph

#endif  // VEXOZEPH_TESTS_INTEGRATION_FILE_SNAPSHOTS_H_
