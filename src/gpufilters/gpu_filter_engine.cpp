#include "gpufilters/gpu_filter_engine.h"

#include "core/log.h"
#include "core/vendor.h"
#include "gpufilters/program_text.h"

#include <new>
#include <vector>

namespace vorin::gpufilters {
namespace {

constexpr const char* kKernelNames[] = {"stippling", "pencil_sketch"}; // in the order of their creation

// Whether a device with this kind of memory matches the request. A request other than the three known ones matches nothing.
bool isWanted(std::int32_t device_kind, bool unified_memory) {
  return device_kind == SttDeviceAnyGpu || device_kind == (unified_memory ? SttDeviceIntegratedGpu : SttDeviceDiscreteGpu);
}

bool hasUnifiedMemory(const cl::Device& device) {
  cl_bool unified_memory = CL_FALSE;
  device.getInfo(CL_DEVICE_HOST_UNIFIED_MEMORY, &unified_memory);
  return unified_memory != CL_FALSE;
}

// Runs one step of a frame. A step that fails is run once more, and the log reports the outcome; the frame counts as failed
// either way.
template <typename Step> bool succeeds(const Step& step) {
  if (step() == CL_SUCCESS) {
    return true;
  }
  sttLogInfo("Opencl failed! %d", step());
  return false;
}

std::uint32_t squared(std::uint32_t edge) {
  return edge * edge;
}

} // namespace

void GpuFilterEngine::Init(std::int32_t device_kind, std::int32_t style_type, std::int32_t style_index, std::int32_t width,
                           std::int32_t height) {
  if (initialised_) {
    return;
  }
  style_type_ = style_type;
  style_index_ = style_index;
  requested_width_ = width;
  requested_height_ = height;

  if (!chooseDevice(device_kind) || !computeWorkGroupEdge()) {
    sttLogInfo("Opencl platform init failed!");
    return;
  }
  context_ = cl::Context();
  context_ = cl::Context(device_);
  queue_ = cl::CommandQueue();
  queue_ = cl::CommandQueue(context_, device_);
  if (!buildProgram() || !createKernels()) {
    return;
  }
  sampler_ = cl::Sampler();
  sampler_ = cl::Sampler(context_, CL_FALSE, CL_ADDRESS_CLAMP_TO_EDGE, CL_FILTER_NEAREST);
  initialised_ = true;
}

// The first platform of the vendor whose first GPU has the wanted kind of memory; its other GPUs are ignored.
bool GpuFilterEngine::chooseDevice(std::int32_t device_kind) {
  std::vector<cl::Platform> platforms;
  cl::Platform::get(&platforms);
  for (const cl::Platform& platform : platforms) {
    std::string vendor;
    platform.getInfo(CL_PLATFORM_VENDOR, &vendor);
    if (vendor.find(kSupportedPlatformVendor) == std::string::npos) {
      continue;
    }
    std::vector<cl::Device> devices; // holds a reference to each
    platform.getDevices(CL_DEVICE_TYPE_GPU, &devices);
    if (devices.empty() || !isWanted(device_kind, hasUnifiedMemory(devices.front()))) {
      continue;
    }
    platform_ = platform;
    device_ = devices.front();
    return true;
  }
  return false;
}

// Half of the smallest power of two whose square reaches the device's largest work-group, so a square tile stays well below it.
// If the device does not answer, there is no edge; the former one stays for the next attempt.
bool GpuFilterEngine::computeWorkGroupEdge() {
  std::size_t max_work_group_items = 0;
  if (device_.getInfo(CL_DEVICE_MAX_WORK_GROUP_SIZE, &max_work_group_items) != CL_SUCCESS) {
    return false;
  }
  auto edge = static_cast<std::uint32_t>(work_group_edge_);
  // An edge of 0 must not make the loop endless.
  while (edge != 0 && squared(edge) < max_work_group_items) {
    edge *= 2;
  }
  work_group_edge_ = static_cast<std::int32_t>(edge / 2);
  return true;
}

bool GpuFilterEngine::buildProgram() {
  program_ = cl::Program();
  const char* text = kProgramText;
  program_ = cl::Program(clCreateProgramWithSource(context_(), 1, &text, nullptr, nullptr));
  const cl_int result = program_.build(device_);
  if (result != CL_SUCCESS) {
    sttLogInfo("Opencl build kernel failed: %d!", result);
    return false;
  }
  return true;
}

// Only the last creation decides. A kernel that is in the table stays there, also when this is not the first attempt, unless
// memory was short: the next attempt makes another context, in which the kernel would not run.
bool GpuFilterEngine::createKernels() {
  cl_int result = CL_SUCCESS;
  try {
    for (const char* name : kKernelNames) {
      kernels_.emplace(name, cl::Kernel(program_, name, &result));
    }
  } catch (const std::bad_alloc&) {
    kernels_.clear();
    throw;
  }
  if (result != CL_SUCCESS) {
    sttLogInfo("Opencl open kernel failed!");
    return false;
  }
  return true;
}

bool GpuFilterEngine::isPreparedFor(std::int32_t width, std::int32_t height, bool ready) const {
  return ready && width == width_ && height == height_;
}

std::int32_t GpuFilterEngine::padded(std::int32_t size) const {
  const std::int32_t rest = size % work_group_edge_;
  return rest == 0 ? size : size + work_group_edge_ - rest;
}

void GpuFilterEngine::storeSize(std::int32_t width, std::int32_t height) {
  width_ = width;
  height_ = height;
  padded_width_ = padded(width);
  padded_height_ = padded(height);
}

void GpuFilterEngine::createImages() {
  source_image_ = cl::Image2D();
  source_image_ = createImage(CL_MEM_READ_ONLY);
  destination_image_ = cl::Image2D();
  destination_image_ = createImage(CL_MEM_WRITE_ONLY);
}

// An image of the padded size, cleared: a frame's upload never touches the padding, which stippling does read.
cl::Image2D GpuFilterEngine::createImage(cl_mem_flags access) {
  const auto width = static_cast<std::size_t>(padded_width_);
  const auto height = static_cast<std::size_t>(padded_height_);
  cl::Image2D image(context_, access, cl::ImageFormat(CL_BGRA, CL_UNORM_INT8), width, height);
  queue_.enqueueFillImage(image, cl_float4{}, {0, 0, 0}, {width, height, 1});
  return image;
}

cl::Buffer GpuFilterEngine::createTableBuffer(std::size_t size_bytes) const {
  return cl::Buffer(context_, CL_MEM_READ_ONLY, size_bytes);
}

cl_int GpuFilterEngine::uploadTable(const cl::Buffer& buffer, std::size_t size_bytes, const void* table) const {
  return queue_.enqueueWriteBuffer(buffer, CL_TRUE, 0, size_bytes, table);
}

_VorinStatus GpuFilterEngine::runKernel(const char* name, const std::uint8_t* input, std::uint8_t* output,
                                        std::initializer_list<KernelArgument> arguments) {
  const cl::array<cl::size_type, 3> origin{0, 0, 0};
  const cl::array<cl::size_type, 3> region{static_cast<cl::size_type>(width_), static_cast<cl::size_type>(height_), 1};
  if (!succeeds([&] { return queue_.enqueueWriteImage(source_image_, CL_TRUE, origin, region, 0, 0, input); })) {
    return VORIN_STATUS_FAILED;
  }

  const auto found = kernels_.find(name);
  cl::Kernel kernel = found == kernels_.end() ? cl::Kernel() : found->second; // a null kernel takes no argument
  cl_uint index = 0;
  for (const KernelArgument& argument : arguments) {
    const auto set = [&] { return kernel.setArg(index, argument.size_bytes, argument.value); };
    if (!succeeds([&] { return argument.missing != CL_SUCCESS ? argument.missing : set(); })) {
      return VORIN_STATUS_FAILED;
    }
    ++index;
  }

  const cl::NDRange global(static_cast<cl::size_type>(padded_width_), static_cast<cl::size_type>(padded_height_));
  const cl::NDRange local(static_cast<cl::size_type>(work_group_edge_), static_cast<cl::size_type>(work_group_edge_));
  const bool done = succeeds([&] { return queue_.enqueueNDRangeKernel(kernel, cl::NullRange, global, local); }) &&
                    succeeds([&] { return queue_.finish(); }) &&
                    succeeds([&] { return queue_.enqueueReadImage(destination_image_, CL_TRUE, origin, region, 0, 0, output); });
  return done ? VORIN_STATUS_OK : VORIN_STATUS_FAILED;
}

} // namespace vorin::gpufilters
