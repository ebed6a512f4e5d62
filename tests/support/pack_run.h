// Shared by the tests of vorin-pack: a folder to work in, and the program run in it.
#pragma once

#include "support/child_process.h"
#include "support/test_networks.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>
#include <vector>

namespace vorin::tests {

class PackRun {
public:
  const std::filesystem::path& folder() const { return folder_.path(); }
  std::string file(const std::string& name) const { return (folder() / name).string(); }

  std::map<std::string, std::string> content() const { return contentOf(folder()); }

  // Writes NAME.xml and NAME.bin.
  void save(const std::string& name, const IrNetwork& network) const {
    for (const NamedContent& half : networkFiles(name, network)) {
      writeFile(file(half.name), half.content);
    }
  }

  // Runs the program in the folder, so that relative names are names of files there.
  ChildResult run(const std::vector<std::string>& arguments) const;
  ChildSetting setting() const;

  // Names of the program's own files while it runs, in the folder and in its folder for temporary files.
  std::set<std::string> leftovers() const;

private:
  TemporaryFolder folder_;
  TemporaryFolder temporary_;
};

// The folder holds the network net.xml.
class PackTest : public testing::Test {
protected:
  PackTest() { pack_.save("net", makeNetwork(FixedNetwork{})); }

  // The entries of model_st.bin with their contents.
  std::vector<NamedContent> entries() const { return entriesOf(readFile(pack_.file("model_st.bin"))); }

  NamedContent entry(const std::string& name, const std::string& file) const { return {name, readFile(pack_.file(file))}; }

  // Builds model_st.bin; expects success and the line, or lines, on standard error.
  void build(std::vector<std::string> arguments, const std::string& lines) const;

  // Expects the run to fail with this status, this on standard output, one line that holds the text, and no file changed.
  void expectRefusal(const std::vector<std::string>& arguments, int status, const std::string& output,
                     const std::string& text) const;
  void expectRefusal(const std::vector<std::string>& arguments, int status, const std::string& text) const {
    expectRefusal(arguments, status, "", text);
  }

  // Expects a build that gets the signal during its work to report it and to leave nothing.
  void expectCancelledBy(int signal) const;

  PackRun pack_;
};

} // namespace vorin::tests
