// A host of MSVC's binary interface: the class door, every operation in the order of the table, the members that MSVC imports of
// an exported class, and a guard around a frame that throws. It is compiled without MSVC's headers and libraries, so it declares
// what it needs of the system. It ends with 1 at the first wrong result, and needs a GPU or the stand-in for one.
#include "vorin_stt.h"

extern "C" {
__declspec(dllimport) int printf(const char* format, ...);
__declspec(dllimport) int strncmp(const char* left, const char* right, unsigned long long count);
__declspec(dllimport) void* memset(void* memory, int byte, unsigned long long count);
[[noreturn]] __declspec(dllimport) void exit(int status);
__declspec(dllimport) void* GetModuleHandleA(const char* name);
__declspec(dllimport) void* LoadLibraryA(const char* name);
__declspec(dllimport) void* GetProcAddress(void* library, const char* name);
}

namespace {

constexpr uint32_t kWidth = 20;
constexpr uint32_t kHeight = 12;
constexpr uint32_t kPixelBytes = 4;
constexpr uint32_t kFrameBytes = kWidth * kHeight * kPixelBytes;

uint8_t pixels[kFrameBytes];
uint8_t restyled[kFrameBytes];

void expect(bool condition, const char* text, int line) {
  if (!condition) {
    printf("msvc_host: line %d: %s\n", line, text);
    exit(1);
  }
}
#define EXPECT(condition) expect(condition, #condition, __LINE__)

SttFrame frameOf(uint8_t* data, uint32_t format) {
  return {VORIN_MEM_SYSTEM, data, format, kWidth, kHeight, kWidth * kPixelBytes};
}

SttDeviceRecord* selectDevice(SttInterface& object) {
  static SttDeviceInfo list[16];
  static SttDeviceRequest request;
  int32_t count = -1;
  EXPECT(object.EnumDevice(list, &count) == VORIN_STATUS_OK);
  EXPECT(count >= 1 && count <= 16 && list[0].name[0] != '\0');
  SttDeviceRecord* device = nullptr;
  request.kind = SttDeviceAnyGpu;
  EXPECT(object.CreateDevice(&request, &device) == VORIN_STATUS_OK);
  EXPECT(strncmp(device->deviceName, "GPU", 3) == 0);
  return device;
}

void configure(SttInterface& object, VorinSttContext context, int32_t style) {
  const int32_t values[] = {style, 0, kWidth, kHeight, 5};
  for (uint32_t key = 0; key < 5; ++key) {
    int32_t value = -77;
    EXPECT(object.SetConfig(context, key, &values[key]) == VORIN_STATUS_OK);
    EXPECT(object.GetConfig(context, key, &value) == VORIN_STATUS_OK);
    EXPECT(value == values[key]);
  }
}

void restyle(SttInterface& object, VorinSttContext context) {
  const SttFrame input = frameOf(pixels, VORIN_FMT_BGRA);
  SttFrame output = frameOf(restyled, VORIN_FMT_BGRA);
  memset(pixels, 0x80, sizeof pixels);
  memset(restyled, 0x5A, sizeof restyled);
  EXPECT(object.ProcessFrame(context, &input, nullptr, &output) == VORIN_STATUS_OK);
  EXPECT(output.width == kWidth && output.height == kHeight);
  for (uint32_t pixel = 0; pixel < kFrameBytes; pixel += kPixelBytes) {
    EXPECT(restyled[pixel + 3] == 255); // alpha: 0 where the filter failed
  }
}

// Through the guard of examples/windows, which is of the library's compiler; a handler of this program's own kind sees nothing
// that it could catch.
void guardFramesThatThrow(SttInterface& object, VorinSttContext context) {
  using Guard =
      _VorinStatus (*)(VorinSttHandle, VorinSttContext, const SttFrame*, const SttFrame*, SttFrame*, char*, unsigned long long);
  const auto guarded = reinterpret_cast<Guard>(GetProcAddress(LoadLibraryA("frame_guard.dll"), "guardedProcessFrame"));
  EXPECT(guarded != nullptr);
  SttInterface* cell = &object; // all that a handle points to
  const auto handle = reinterpret_cast<VorinSttHandle>(&cell);
  const SttFrame impossible = frameOf(pixels, 4); // no such format
  const SttFrame possible = frameOf(pixels, VORIN_FMT_BGRA);
  SttFrame output = frameOf(restyled, VORIN_FMT_BGRA);
  static char what[512];
  for (int frame = 0; frame < 100; ++frame) {
    EXPECT(guarded(handle, context, &impossible, nullptr, &output, what, sizeof what) == VORIN_STATUS_FAILED);
    EXPECT(strncmp(what, "OpenCV", 6) == 0);
    EXPECT(guarded(handle, context, &possible, nullptr, &output, what, sizeof what) == VORIN_STATUS_OK);
    EXPECT(what[0] == '\0');
  }
}

// MSVC imports these where a host copies an object of the class or derives from it.
void useImplicitMembers() {
  using Member = void* (*)(void* object, const void* other);
  void* const library = GetModuleHandleA("vorin_stt.dll");
  void* const table = GetProcAddress(library, "??_7SttInterface@@6B@");
  EXPECT(table != nullptr);
  const char* const constructors[] = {"??0SttInterface@@QEAA@XZ", "??0SttInterface@@QEAA@AEBV0@@Z",
                                      "??0SttInterface@@QEAA@$$QEAV0@@Z"};
  for (const char* name : constructors) {
    const auto construct = reinterpret_cast<Member>(GetProcAddress(library, name));
    void* object[2] = {nullptr, nullptr};
    void* const other[2] = {nullptr, nullptr};
    EXPECT(construct != nullptr && construct(object, other) == object);
    EXPECT(object[0] == table && object[1] == nullptr);
  }
  const char* const assignments[] = {"??4SttInterface@@QEAAAEAV0@AEBV0@@Z", "??4SttInterface@@QEAAAEAV0@$$QEAV0@@Z",
                                     "??4SttFactory@@QEAAAEAV0@AEBV0@@Z", "??4SttFactory@@QEAAAEAV0@$$QEAV0@@Z"};
  for (const char* name : assignments) {
    const auto assign = reinterpret_cast<Member>(GetProcAddress(library, name));
    void* object[1] = {&object};
    void* const other[1] = {nullptr};
    EXPECT(assign != nullptr && assign(object, other) == object);
    EXPECT(object[0] == &object);
  }
}

} // namespace

extern "C" void mainCRTStartup() {
  SttInterface* object = nullptr;
  EXPECT(SttFactory::Create(&object) == VORIN_STATUS_OK && object != nullptr);
  SttVersion version = {-1, -1};
  EXPECT(object->GetVersion(&version) == VORIN_STATUS_OK);
  EXPECT(version.major == 0 && version.minor == 5);
  SttDeviceRecord* const device = selectDevice(*object);
  VorinSttContext context = nullptr;
  EXPECT(object->CreateContext(device, &context) == VORIN_STATUS_OK && context == object);
  configure(*object, context, SttStylePencilSketch);
  EXPECT(object->Prepare(context) == VORIN_STATUS_OK);
  restyle(*object, context);
  guardFramesThatThrow(*object, context);
  EXPECT(object->SyncOperation(context) == VORIN_STATUS_OK);
  EXPECT(object->Stop(context) == VORIN_STATUS_OK);
  EXPECT(object->DestroyContext(context) == VORIN_STATUS_OK);
  EXPECT(object->DestroyDevice(device) == VORIN_STATUS_OK);
  EXPECT(SttFactory::Destroy(object) == VORIN_STATUS_OK);
  EXPECT(SttFactory::Destroy(nullptr) == VORIN_STATUS_OK);
  useImplicitMembers();
  exit(0);
}
