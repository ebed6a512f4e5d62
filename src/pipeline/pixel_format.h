// Conversions between the host's pixel formats (SttPixelFormat) and the images that the engines work on: 8-bit blue-green-red for
// the neural styles, 8-bit blue-green-red-alpha for the filters. Colours are converted by OpenCV; only the chroma samples of NV12
// and YUY2 are moved into place here.
//
// Three rules look like mistakes and are deliberate. A 24-bit frame reaches the filters with red and blue exchanged, and is
// exchanged back on the way out: the filters weigh its red as blue. The YUY2 output of the neural styles has the luma and chroma
// of the picture with red and blue exchanged. Of all outputs only the NV12 of the neural styles honours the host's pitch: the
// filters' NV12 is packed. OpenCV's errors (an empty image, odd sizes in 4:2:0) are not caught.
#pragma once

#include "vorin_stt.h"

#include <opencv2/core.hpp>

namespace vorin {

// Working images, kept by the caller from frame to frame.
struct PixelFormatBuffers {
  cv::Mat bgr;
  cv::Mat reduced;
  cv::Mat padded_bgr;
  cv::Mat rgb;
  cv::Mat yuv;
  cv::Mat i420;
};

// Converts the host's frame to the networks' form: height x width pixels of 3 bytes, blue, green, red. A BGR24 frame is wrapped,
// not copied; others are converted into a working image. Rows are packed. Empty for an unsupported format. The host's rows are
// assumed to be input.pitch bytes apart in NV12, and packed in the other formats. A BGRA or RGBA frame that is larger than the
// network's frames is first resized bilinearly to their size and then loses its alpha: channels do not mix, so the bytes are the
// same and fewer of them are converted. With an empty size no frame is resized.
cv::Mat hostToNeuralInput(const SttFrame& input, PixelFormatBuffers& buffers, const cv::Size& network_size = {});

// Converts the host's frame to the filters' form: height x width pixels of 4 bytes, rows packed. A BGRA frame is wrapped, not
// copied; others are converted into `storage`, which the result then shares. Empty for an unsupported format. The host's rows are
// assumed to be packed.
cv::Mat hostToFilterInput(const SttFrame& input, cv::Mat& storage);

// Write an engine's result into the host's buffer in the host's format and set the descriptor's width and height to the result's.
// For an unsupported format the pixels are left alone, and the log says "invalid output format". `result`: 8-bit, 3 channels,
// blue-green-red. NV12 rows are output.pitch bytes apart.
void neuralOutputToHost(SttFrame& output, const cv::Mat& result, PixelFormatBuffers& buffers);
// `result`: 8-bit, 4 channels, blue-green-red-alpha. Rows are written packed in every format.
void filterOutputToHost(SttFrame& output, const cv::Mat& result, PixelFormatBuffers& buffers);

} // namespace vorin
