// What the tests of vorin-pack share: a folder to work in, and the program run in it.
#pragma once

#include "support/child_process.h"
#include "support/test_environment.h"

#include <map>
#include <string>
#include <vector>

namespace vorin::tests {

class PackRun {
public:
  const std::filesystem::path& folder() const { return folder_.path(); }
  std::string file(const std::string& name) const { return (folder() / name).string(); }

  // The files of the folder with their contents, and its folders with "(folder)".
  std::map<std::string, std::string> content() const;

  // Runs the program in the folder, so that relative names are names of files there.
  ChildResult run(const std::vector<std::string>& arguments) const;
  ChildSetting setting() const;

  // Names of files that the program keeps for itself while it runs, in the folder and in its folder for temporary files.
  std::vector<std::string> leftovers() const;

private:
  TemporaryFolder folder_;
  TemporaryFolder temporary_;
};

} // namespace vorin::tests
