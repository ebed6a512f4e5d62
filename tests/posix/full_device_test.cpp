// A package's entry whose target cannot take the bytes, by the device that never can. Windows has no such device.
#include "modelpack/model_package_reader.h"
#include "support/package_bytes.h"
#include "support/test_environment.h"

#include <gtest/gtest.h>

namespace vorin::modelpack {
namespace {

using namespace tests;
namespace fs = std::filesystem;

TEST(FullDevice, IsReportedAndItsLinkTakenAway) {
  const TemporaryFolder folder;
  const fs::path package = folder.path() / "package";
  const fs::path target = folder.path() / "target";
  for (const std::size_t size : {1U, 4096U, 20000U}) {
    writeFile(package.string(), packageBytes({{"net.xml", randomBytes(size, 3)}}));
    fs::create_symlink("/dev/full", target); // by a link, so that it is not the device that is removed afterwards
    EXPECT_EQ(ModelPackageReader(package.wstring(), "net.xml", target.string()), PackageStatus::kError) << size;
    EXPECT_FALSE(fs::is_symlink(target)) << size;
  }
}

} // namespace
} // namespace vorin::modelpack
