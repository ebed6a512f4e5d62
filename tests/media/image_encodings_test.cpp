// Image files of more kinds than the library writes, made by OpenCV's encoders, which a build for Windows does not have.
#include "sources_and_sinks.h"
#include "support/test_environment.h"

#include <gtest/gtest.h>
#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <fstream>

namespace vorin::tests {
namespace {

struct EncodingCase {
  std::string name;
  std::string extension;
  std::vector<int> parameters;
};

class ImageFile : public testing::TestWithParam<EncodingCase> {
protected:
  std::vector<std::uint8_t> encoded() const {
    cv::Mat picture(37, 53, CV_8UC3);
    cv::RNG(20).fill(picture, cv::RNG::UNIFORM, 0, 256);
    cv::GaussianBlur(picture, picture, {5, 5}, 2);
    std::vector<std::uint8_t> bytes;
    cv::imencode(GetParam().extension, picture, bytes, GetParam().parameters);
    return bytes;
  }
  std::filesystem::path stored(const std::vector<std::uint8_t>& bytes, std::size_t count) const {
    std::filesystem::path path = folder_.path() / ("photo" + GetParam().extension);
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(count));
    return path;
  }
  TemporaryFolder folder_;
};

TEST_P(ImageFile, IsReadWholeAndRefusedWhereverItIsCut) {
  const std::vector<std::uint8_t> bytes = encoded();
  EXPECT_EQ(media::openImageSource(stored(bytes, bytes.size()))->info().size, (media::Size{53, 37}));
  for (std::size_t count = 0; count < bytes.size(); count += count < 200 || count + 200 > bytes.size() ? 1 : 7) {
    EXPECT_THROW(media::openImageSource(stored(bytes, count)), Error) << count << " of " << bytes.size() << " bytes";
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
