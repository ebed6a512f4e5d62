/* A host in C: every one of the 14 functions in the calling order, and the status that each returns. Ends with 1 at the first
 * that is another. Needs a GPU, or the stand-in for one. */
#include "vorin_stt.h"

#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { kWidth = 20, kHeight = 12, kPixelBytes = 4, kFrameBytes = kWidth * kHeight * kPixelBytes };

#define EXPECT(condition)                                                                                                        \
  do {                                                                                                                           \
    if (!(condition)) {                                                                                                          \
      (void)fprintf(stderr, "c_host: line %d: %s\n", __LINE__, #condition);                                                      \
      exit(1);                                                                                                                   \
    }                                                                                                                            \
  } while (0)

static SttFrame frameOf(unsigned char* pixels) {
  SttFrame frame = {VORIN_MEM_SYSTEM, NULL, VORIN_FMT_BGRA, kWidth, kHeight, kWidth * kPixelBytes};
  frame.data = pixels;
  return frame;
}

static void selectDevice(VorinSttHandle handle, SttDeviceRecord** device) {
  SttDeviceInfo list[16];
  int32_t count = -1;
  EXPECT(vorin_SttEnumDevice(handle, NULL, &count) == VORIN_STATUS_OK);
  EXPECT(count >= 1 && count <= 16);
  EXPECT(vorin_SttEnumDevice(handle, list, &count) == VORIN_STATUS_OK);
  SttDeviceRequest request;
  memset(&request, 0, sizeof request);
  request.kind = 77;
  EXPECT(vorin_SttCreateDevice(handle, &request, device) == VORIN_STATUS_FAILED);
  EXPECT(strcmp((*device)->deviceName, "notfind") == 0);
  memcpy(&request, &list[0], sizeof request);
  EXPECT(vorin_SttCreateDevice(handle, &request, device) == VORIN_STATUS_OK);
  EXPECT(strncmp((*device)->deviceName, "GPU", 3) == 0);
  EXPECT(list[0].name[0] != '\0' && strcmp((*device)->fullName, list[0].name) == 0);
}

static void configure(VorinSttHandle handle, VorinSttContext context) {
  const int32_t defaults[] = {-1, -1, 0, 0, 0};
  const int32_t values[] = {SttStylePencilSketch, 0, kWidth, kHeight, 5};
  int32_t value = -77;
  for (uint32_t key = 0; key < 5; ++key) {
    EXPECT(vorin_SttGetConfig(handle, context, key, &value) == VORIN_STATUS_OK);
    EXPECT(value == defaults[key]);
    EXPECT(vorin_SttSetConfig(handle, context, key, &values[key]) == VORIN_STATUS_OK);
    EXPECT(vorin_SttGetConfig(handle, context, key, &value) == VORIN_STATUS_OK);
    EXPECT(value == values[key]);
  }
  EXPECT(vorin_SttSetConfig(handle, context, SttCfgModelPath, "models") == VORIN_STATUS_OK);
  EXPECT(vorin_SttGetConfig(handle, context, SttCfgModelPath, &value) == VORIN_STATUS_INVALID_PARAM);
  for (uint32_t key = 6; key != 0; key *= 2) {
    EXPECT(vorin_SttSetConfig(handle, context, key, &values[0]) == VORIN_STATUS_INVALID_PARAM);
    EXPECT(vorin_SttGetConfig(handle, context, key, &value) == VORIN_STATUS_INVALID_PARAM);
  }
  EXPECT(value == 5);
}

static void restyle(VorinSttHandle handle, VorinSttContext context) {
  static unsigned char pixels[kFrameBytes];
  static unsigned char restyled[kFrameBytes + 1];
  memset(pixels, 0x80, sizeof pixels);
  memset(restyled, 0x5A, sizeof restyled);
  SttFrame input = frameOf(pixels);
  SttFrame output = frameOf(restyled);
  input.memoryType = 1;
  EXPECT(vorin_SttProcessFrame(handle, context, &input, NULL, &output) == VORIN_STATUS_UNSUPPORTED);
  EXPECT(restyled[0] == 0x5A);
  input.memoryType = VORIN_MEM_SYSTEM;
  EXPECT(vorin_SttProcessFrame(handle, context, &input, NULL, &output) == VORIN_STATUS_OK);
  EXPECT(output.width == kWidth && output.height == kHeight);
  for (size_t pixel = 0; pixel < kFrameBytes; pixel += kPixelBytes) {
    EXPECT(restyled[pixel + 3] == 255); /* alpha: 0 where the filter failed */
  }
  EXPECT(restyled[kFrameBytes] == 0x5A);
}

int main(void) {
  VorinSttHandle handle = NULL;
  VorinSttContext context = NULL;
  SttDeviceRecord* device = NULL;
  SttVersion version = {-1, -1};
  EXPECT(vorin_SttCreate(&handle) == VORIN_STATUS_OK && handle != NULL);
  EXPECT(vorin_SttGetVersion(handle, &version) == VORIN_STATUS_OK);
  EXPECT(version.major == 0 && version.minor == 5);
  selectDevice(handle, &device);
  EXPECT(vorin_SttCreateContext(handle, device, &context) == VORIN_STATUS_OK && context != NULL);
  EXPECT(context == *(void**)handle); /* the cell's only content is the object */
  EXPECT(vorin_SttPrepare(handle, context) == VORIN_STATUS_FAILED);
  configure(handle, context);
  EXPECT(vorin_SttPrepare(handle, context) == VORIN_STATUS_OK);
  restyle(handle, context);
  EXPECT(vorin_SttSyncOperation(handle, context) == VORIN_STATUS_OK);
  EXPECT(vorin_SttStop(handle, context) == VORIN_STATUS_OK);
  EXPECT(vorin_SttDestroyContext(handle, context) == VORIN_STATUS_OK);
  EXPECT(vorin_SttDestroyDevice(handle, device) == VORIN_STATUS_OK);
  EXPECT(vorin_SttDestroy(handle) == VORIN_STATUS_OK);
  return 0;
}
