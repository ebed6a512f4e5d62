// One OpenCL picture filter: set-up of platform, device, program and kernels, preparation for a frame size, and the run of a
// frame.
//
// An engine serves one style: stippling (3) or pencil sketch (4). Both kernels are part of one program text, and every engine
// makes both. The device images are as large as the frame raised to whole work-groups. Pixels beyond the frame are 0 and are
// never read back; stippling, which is deliberately given the padded size, reads it at the frame's right and lower rims.
//
// Errors of creations are not examined where they happen: a null handle makes a later call fail, which is then reported. An
// engine whose set-up failed is therefore still safe to prepare and run; it reports failure.
#pragma once

#include "gpufilters/opencl_handles.h"
#include "vorin_stt.h"

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <string>

namespace vorin::gpufilters {

class GpuFilterEngine {
public:
  GpuFilterEngine() = default;
  GpuFilterEngine(const GpuFilterEngine&) = delete;
  GpuFilterEngine& operator=(const GpuFilterEngine&) = delete;
  GpuFilterEngine(GpuFilterEngine&&) = delete;
  GpuFilterEngine& operator=(GpuFilterEngine&&) = delete;
  ~GpuFilterEngine() = default; // releases in the reverse order of the members

  // Chooses a GPU of the supported vendor and builds the program. device_kind: 0 integrated, 1 discrete, 8 any, an SttDeviceKind.
  // Only initialised() reports success; the log holds failures. After a success further calls change nothing; after a failure
  // they try again.
  void Init(std::int32_t device_kind, std::int32_t style_type, std::int32_t style_index, std::int32_t width, std::int32_t height);

  // Makes the device images and tables for frames of width x height pixels. Does nothing if the engine's last preparation was
  // for that size, whichever filter's it was, and this filter has been prepared before: an engine that takes turns at both
  // filters and at sizes may thus run on tables of an earlier size. A size counts as prepared also when its upload failed,
  // but not when the host had no memory for the tables, which throws std::bad_alloc. Returns VORIN_STATUS_OK, or
  // VORIN_STATUS_FAILED, always with a work-group edge of 0, which a device with work-groups of one item has.
  _VorinStatus PreparePencilSketch(std::int32_t width, std::int32_t height);
  _VorinStatus PrepareStippling(std::int32_t width, std::int32_t height);

  // Filters one frame of the prepared size. Both pictures: bytes blue, green, red, alpha, rows of width * 4 bytes without
  // padding. The output is grey with alpha 255. Returns VORIN_STATUS_OK or VORIN_STATUS_FAILED; after a failure the output's
  // content is undefined. The device is idle when the call returns.
  _VorinStatus RunPencilSketch(const std::uint8_t* input, std::uint8_t* output);
  _VorinStatus RunStippling(const std::uint8_t* input, std::uint8_t* output);

  bool initialised() const { return initialised_; }
  std::int32_t workGroupEdge() const { return work_group_edge_; }
  std::int32_t paddedWidth() const { return padded_width_; }
  std::int32_t paddedHeight() const { return padded_height_; }
  // The values passed to the Init that succeeded, or that failed last; no filter reads them.
  std::int32_t styleType() const { return style_type_; }
  std::int32_t styleIndex() const { return style_index_; }
  std::int32_t requestedWidth() const { return requested_width_; }
  std::int32_t requestedHeight() const { return requested_height_; }

private:
  bool chooseDevice(std::int32_t device_kind);
  bool computeWorkGroupEdge();
  bool buildProgram();
  bool createKernels();

  bool isPreparedFor(std::int32_t width, std::int32_t height, bool ready) const;
  std::int32_t padded(std::int32_t size) const; // rounded up to whole work-groups
  void storeSize(std::int32_t width, std::int32_t height);
  void createImages();
  cl::Image2D createImage(cl_mem_flags access);
  cl::Buffer createTableBuffer(std::size_t size_bytes) const;
  cl_int uploadTable(const cl::Buffer& buffer, std::size_t size_bytes, const void* table) const;

  // An argument of a kernel; the engine holds the value itself. `missing`: the code of a null handle, else CL_SUCCESS. Not
  // every OpenCL implementation refuses a null handle as an argument: some accept it and crash in the launch.
  struct KernelArgument {
    std::size_t size_bytes;
    const void* value;
    cl_int missing;
  };
  static constexpr std::size_t kHandleBytes = sizeof(void*);
  static KernelArgument argument(const cl::Memory& memory) {
    return {kHandleBytes, &memory(), memory() == nullptr ? CL_INVALID_MEM_OBJECT : CL_SUCCESS};
  }
  static KernelArgument argument(const cl::Sampler& sampler) {
    return {kHandleBytes, &sampler(), sampler() == nullptr ? CL_INVALID_SAMPLER : CL_SUCCESS};
  }
  static KernelArgument argument(const std::int32_t& number) { return {sizeof number, &number, CL_SUCCESS}; }

  // One frame through the named kernel; `arguments` are all of the kernel's, in order.
  _VorinStatus runKernel(const char* name, const std::uint8_t* input, std::uint8_t* output,
                         std::initializer_list<KernelArgument> arguments);

  // These members are in the reverse of the order in which their handles must be released.
  cl::Platform platform_;
  cl::Device device_; // knows whether it holds a reference
  cl::Context context_;
  cl::CommandQueue queue_;
  cl::Program program_;
  std::map<std::string, cl::Kernel> kernels_; // by name; an entry stays once it is there, even one whose creation failed
  cl::Sampler sampler_;
  cl::Buffer random_x_;
  cl::Buffer random_y_;
  cl::Buffer filter_weights_;
  cl::Image2D source_image_;
  cl::Image2D destination_image_;

  std::int32_t width_ = 0; // pixels, of the prepared frame size
  std::int32_t height_ = 0;
  std::int32_t padded_width_ = 0; // pixels, of the device images: whole work-groups
  std::int32_t padded_height_ = 0;
  std::int32_t work_group_edge_ = 1; // pixels
  std::int32_t stippling_radius_ = 4;
  std::int32_t pencil_radius_ = 4;
  bool stippling_ready_ = false;
  bool pencil_ready_ = false;
  bool initialised_ = false;
  std::int32_t style_type_ = 0;
  std::int32_t style_index_ = 0;
  std::int32_t requested_width_ = 0;
  std::int32_t requested_height_ = 0;
};

} // namespace vorin::gpufilters
