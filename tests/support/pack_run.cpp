#include "support/pack_run.h"

namespace vorin::tests {

namespace fs = std::filesystem;

std::map<std::string, std::string> PackRun::content() const {
  std::map<std::string, std::string> content;
  for (const auto& entry : fs::recursive_directory_iterator(folder())) {
    content[fs::relative(entry.path(), folder()).string()] = entry.is_directory() ? "(folder)" : readFile(entry.path());
  }
  return content;
}

ChildSetting PackRun::setting() const {
  ChildSetting setting;
  setting.working_folder = folder();
  setting.variables = {{"TMPDIR", temporary_.path().string()}};
  return setting;
}

ChildResult PackRun::run(const std::vector<std::string>& arguments) const {
  std::vector<std::string> line = {VORIN_PACK_PROGRAM};
  line.insert(line.end(), arguments.begin(), arguments.end());
  return ChildProcess(line, setting()).wait();
}

std::vector<std::string> PackRun::leftovers() const {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(temporary_.path())) {
    names.push_back(entry.path().filename().string());
  }
  for (const auto& entry : fs::directory_iterator(folder())) {
    const std::string name = entry.path().filename().string();
    if (name.rfind(".vorin-", 0) == 0) {
      names.push_back(name);
    }
  }
  return names;
}

} // namespace vorin::tests
