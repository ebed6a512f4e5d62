// A host program in C++: lists the GPUs that the library can use.
#include <cstdio>
#include <memory>
#include <vector>
#include <vorin_stt.h>

namespace {

struct Destroyer {
  void operator()(SttInterface* object) const { SttFactory::Destroy(object); }
};

} // namespace

int main() {
  SttInterface* made = nullptr;
  if (SttFactory::Create(&made) != VORIN_STATUS_OK) {
    return 1;
  }
  const std::unique_ptr<SttInterface, Destroyer> object(made);

  SttVersion version = {};
  object->GetVersion(&version);
  int32_t count = 0;
  object->EnumDevice(nullptr, &count);
  std::vector<SttDeviceInfo> gpus(static_cast<std::size_t>(count));
  object->EnumDevice(gpus.data(), &count);

  std::printf("vorin_stt %d.%d, %d GPU(s)\n", version.major, version.minor, count);
  for (const SttDeviceInfo& gpu : gpus) {
    std::printf("%s: %s\n", gpu.kind == SttDeviceDiscreteGpu ? "discrete" : "integrated", gpu.name);
  }
  return 0;
}
