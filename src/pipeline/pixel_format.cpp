#include "pipeline/pixel_format.h"

#include "core/log.h"
#include "pipeline/chroma_packing.h"

#include <opencv2/imgproc.hpp>

#include <cstdint>

namespace vorin {
namespace {

std::uint8_t* bytesOf(const SttFrame& frame) {
  return static_cast<std::uint8_t*>(frame.data);
}

cv::Mat wrapPacked(const SttFrame& frame, int rows, int columns, int type) {
  return {rows, columns, type, frame.data};
}

cv::Mat wrapHost(const SttFrame& frame, int type) {
  return wrapPacked(frame, static_cast<int>(frame.height), static_cast<int>(frame.width), type);
}

// Pixels of YUY2 come in pairs. OpenCV assumes an even width: with an odd one it reads and writes past the rows' ends.
cv::Mat wrapYuy2(const SttFrame& input) {
  CV_CheckEQ(static_cast<int>(input.width % 2), 0, "the width of a YUY2 frame must be even");
  return wrapHost(input, CV_8UC2);
}

// A frame of 4 channels, resized into a working image if it is larger than the network's.
cv::Mat wrapReduced(const SttFrame& input, PixelFormatBuffers& buffers, const cv::Size& network_size) {
  cv::Mat host = wrapHost(input, CV_8UC4);
  if (host.empty() || network_size.empty() ||
      host.total() <= static_cast<std::size_t>(network_size.width) * static_cast<std::size_t>(network_size.height)) {
    return host;
  }
  cv::resize(host, buffers.reduced, network_size, 0.0, 0.0, cv::INTER_LINEAR);
  return buffers.reduced;
}

// Wraps a host buffer as the destination of a conversion: OpenCV writes in place if size and type already fit.
cv::Mat wrapOutput(const SttFrame& output, const cv::Mat& result, int type) {
  return wrapPacked(output, result.rows, result.cols, type);
}

void deliverSize(SttFrame& output, const cv::Mat& result) {
  output.width = static_cast<std::uint32_t>(result.cols);
  output.height = static_cast<std::uint32_t>(result.rows);
}

void convertInto(const SttFrame& output, const cv::Mat& result, int code, int type) {
  cv::Mat host = wrapOutput(output, result, type);
  cv::cvtColor(result, host, code);
}

void copyInto(const SttFrame& output, const cv::Mat& result) {
  cv::Mat host = wrapOutput(output, result, result.type());
  result.copyTo(host);
}

} // namespace

cv::Mat hostToNeuralInput(const SttFrame& input, PixelFormatBuffers& buffers, const cv::Size& network_size) {
  switch (input.pixelFormat) {
  case VORIN_FMT_NV12: {
    // Converts the rows with their padding, which is left out of the result.
    const int rows = static_cast<int>(input.height * 3 / 2);
    cv::cvtColor(wrapPacked(input, rows, static_cast<int>(input.pitch), CV_8UC1), buffers.padded_bgr, cv::COLOR_YUV2BGR_NV12);
    buffers.padded_bgr.colRange(0, static_cast<int>(input.width)).copyTo(buffers.bgr);
    return buffers.bgr;
  }
  case VORIN_FMT_BGR24:
    return wrapHost(input, CV_8UC3);
  case VORIN_FMT_BGRA:
    cv::cvtColor(wrapReduced(input, buffers, network_size), buffers.bgr, cv::COLOR_BGRA2BGR);
    return buffers.bgr;
  case VORIN_FMT_RGBA:
    cv::cvtColor(wrapReduced(input, buffers, network_size), buffers.bgr, cv::COLOR_RGBA2BGR);
    return buffers.bgr;
  case VORIN_FMT_YUY2:
    cv::cvtColor(wrapYuy2(input), buffers.bgr, cv::COLOR_YUV2BGR_YUY2);
    return buffers.bgr;
  default:
    return {};
  }
}

cv::Mat hostToFilterInput(const SttFrame& input, cv::Mat& storage) {
  int code = 0;
  cv::Mat host;
  switch (input.pixelFormat) {
  case VORIN_FMT_NV12:
    host = wrapPacked(input, static_cast<int>(input.height * 3 / 2), static_cast<int>(input.width), CV_8UC1);
    code = cv::COLOR_YUV2BGRA_NV12;
    break;
  case VORIN_FMT_BGR24:
    host = wrapHost(input, CV_8UC3);
    code = cv::COLOR_BGR2RGBA; // filterOutputToHost exchanges them back
    break;
  case VORIN_FMT_BGRA:
    return wrapHost(input, CV_8UC4);
  case VORIN_FMT_RGBA:
    host = wrapHost(input, CV_8UC4);
    code = cv::COLOR_BGRA2RGBA;
    break;
  case VORIN_FMT_YUY2:
    host = wrapYuy2(input);
    code = cv::COLOR_YUV2BGRA_YUY2;
    break;
  default:
    return {};
  }
  cv::cvtColor(host, storage, code);
  return storage;
}

void neuralOutputToHost(SttFrame& output, const cv::Mat& result, PixelFormatBuffers& buffers) {
  switch (output.pixelFormat) {
  case VORIN_FMT_BGR24:
    copyInto(output, result);
    break;
  case VORIN_FMT_BGRA:
    convertInto(output, result, cv::COLOR_BGR2BGRA, CV_8UC4);
    break;
  case VORIN_FMT_RGBA:
    convertInto(output, result, cv::COLOR_BGR2RGBA, CV_8UC4);
    break;
  case VORIN_FMT_YUY2:
    cv::cvtColor(result, buffers.yuv, cv::COLOR_RGB2YUV); // deliberate: a red-first code on a blue-first image
    packYuy2(buffers.yuv, bytesOf(output));
    break;
  case VORIN_FMT_NV12:
    cv::cvtColor(result, buffers.i420, cv::COLOR_BGR2YUV_I420);
    packNv12(buffers.i420, bytesOf(output), output.pitch);
    break;
  default:
    sttLogError("invalid output format");
    break;
  }
  deliverSize(output, result);
}

void filterOutputToHost(SttFrame& output, const cv::Mat& result, PixelFormatBuffers& buffers) {
  switch (output.pixelFormat) {
  case VORIN_FMT_BGR24:
    convertInto(output, result, cv::COLOR_BGRA2RGB, CV_8UC3);
    break;
  case VORIN_FMT_BGRA:
    copyInto(output, result);
    break;
  case VORIN_FMT_RGBA:
    convertInto(output, result, cv::COLOR_BGRA2RGBA, CV_8UC4);
    break;
  case VORIN_FMT_YUY2:
    cv::cvtColor(result, buffers.rgb, cv::COLOR_BGRA2RGB);
    cv::cvtColor(buffers.rgb, buffers.yuv, cv::COLOR_RGB2YUV);
    packYuy2(buffers.yuv, bytesOf(output));
    break;
  case VORIN_FMT_NV12:
    cv::cvtColor(result, buffers.i420, cv::COLOR_BGRA2YUV_I420);
    packNv12(buffers.i420, bytesOf(output), buffers.i420.step); // deliberate: the host's pitch is ignored
    break;
  default:
    sttLogError("invalid output format");
    break;
  }
  deliverSize(output, result);
}

} // namespace vorin
