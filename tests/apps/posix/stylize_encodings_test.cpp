// Image files of more kinds than the program writes, made by OpenCV's encoders, which a build for Windows has not. The walk over
// a file's structure that refuses a cut one is the same there.
#include "exit_status.h"
#include "image_file.h"
#include "support/stylize_run.h"

#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>

#include <fstream>

namespace vorin::tests {
namespace {

using namespace vorin::stylize;

struct EncodingCase {
  std::string name;
  std::string extension;
  std::vector<int> parameters;
};

class ImageFile : public testing::TestWithParam<EncodingCase> {
protected:
  std::vector<std::uint8_t> encoded() const {
    std::vector<std::uint8_t> bytes;
    cv::imencode(GetParam().extension, makePhoto({53, 37}), bytes, GetParam().parameters);
    return bytes;
  }
  std::filesystem::path stored(const std::vector<std::uint8_t>& bytes, std::size_t count) const {
    std::filesystem::path path = run_.folder() / ("photo" + GetParam().extension);
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(count));
    return path;
  }
  StylizeRun run_;
};

TEST_P(ImageFile, IsReadWholeAndRefusedWhereverItIsCut) {
  const std::vector<std::uint8_t> bytes = encoded();
  EXPECT_EQ(readPicture(stored(bytes, bytes.size())).size(), cv::Size(53, 37));
  for (std::size_t count = 0; count < bytes.size(); count += count < 200 || count + 200 > bytes.size() ? 1 : 7) {
    EXPECT_THROW(readPicture(stored(bytes, count)), Failure) << count << " of " << bytes.size() << " bytes";
  }
}

INSTANTIATE_TEST_SUITE_P(All, ImageFile,
                         testing::Values(EncodingCase{"Png", ".png", {}}, EncodingCase{"Jpeg", ".jpg", {}},
                                         EncodingCase{"ProgressiveJpeg", ".jpg", {cv::IMWRITE_JPEG_PROGRESSIVE, 1}},
                                         EncodingCase{"JpegWithRestarts", ".jpg", {cv::IMWRITE_JPEG_RST_INTERVAL, 2}},
                                         EncodingCase{"LosslessWebp", ".webp", {}},
                                         EncodingCase{"LossyWebp", ".webp", {cv::IMWRITE_WEBP_QUALITY, 80}},
                                         EncodingCase{"Bmp", ".bmp", {}}),
                         [](const auto& each) { return each.param.name; });

} // namespace
} // namespace vorin::tests
