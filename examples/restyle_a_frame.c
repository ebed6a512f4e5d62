/* A host program in plain C: draws one frame as a pencil sketch, through the 14 C functions in their order. */
#include "vorin_stt.h"

#include <stdio.h>
#include <stdlib.h>

enum { WIDTH = 320, HEIGHT = 180, PIXEL_BYTES = 4 };

static int failed(const char* call, _VorinStatus status) {
  if (status == VORIN_STATUS_OK) {
    return 0;
  }
  fprintf(stderr, "%s failed: %d\n", call, (int)status);
  return 1;
}

/* A picture to draw: a bright disc on a darker ground. */
static void paint(uint8_t* bgra) {
  for (int y = 0; y < HEIGHT; ++y) {
    for (int x = 0; x < WIDTH; ++x) {
      const int dx = x - WIDTH / 2;
      const int dy = y - HEIGHT / 2;
      uint8_t* pixel = bgra + PIXEL_BYTES * (y * WIDTH + x);
      pixel[0] = dx * dx + dy * dy < 60 * 60 ? 230 : 90;
      pixel[1] = (uint8_t)(80 + x / 4);
      pixel[2] = (uint8_t)(60 + y / 2);
      pixel[3] = 255;
    }
  }
}

static int restyle(VorinSttHandle handle, uint8_t* input_bgra, uint8_t* output_bgra) {
  const SttDeviceRequest any_gpu = {.kind = SttDeviceAnyGpu};
  SttDeviceRecord* device = NULL;
  VorinSttContext context = NULL;
  const int32_t style = SttStylePencilSketch;
  const int32_t width = WIDTH;
  const int32_t height = HEIGHT;
  const SttFrame input = {.memoryType = VORIN_MEM_SYSTEM,
                          .data = input_bgra,
                          .pixelFormat = VORIN_FMT_BGRA,
                          .width = WIDTH,
                          .height = HEIGHT,
                          .pitch = WIDTH * PIXEL_BYTES};
  SttFrame output = {.data = output_bgra, .pixelFormat = VORIN_FMT_BGRA};

  if (failed("CreateDevice", vorin_SttCreateDevice(handle, &any_gpu, &device)) ||
      failed("CreateContext", vorin_SttCreateContext(handle, device, &context)) ||
      failed("SetConfig", vorin_SttSetConfig(handle, context, SttCfgStyleType, &style)) ||
      failed("SetConfig", vorin_SttSetConfig(handle, context, SttCfgWidth, &width)) ||
      failed("SetConfig", vorin_SttSetConfig(handle, context, SttCfgHeight, &height)) ||
      failed("Prepare", vorin_SttPrepare(handle, context)) ||
      failed("ProcessFrame", vorin_SttProcessFrame(handle, context, &input, NULL, &output)) ||
      failed("Stop", vorin_SttStop(handle, context)) || failed("DestroyContext", vorin_SttDestroyContext(handle, context)) ||
      failed("DestroyDevice", vorin_SttDestroyDevice(handle, device))) {
    return 1;
  }
  printf("drew %u x %u pixels on %s\n", output.width, output.height, device->deviceName);
  return 0;
}

int main(void) {
  VorinSttHandle handle = NULL;
  SttVersion version = {0, 0};
  int32_t gpus = 0;
  uint8_t* input = malloc(WIDTH * HEIGHT * PIXEL_BYTES);
  uint8_t* output = calloc(WIDTH * HEIGHT, PIXEL_BYTES);
  int result = 1;
  if (input != NULL && output != NULL && !failed("Create", vorin_SttCreate(&handle))) {
    vorin_SttGetVersion(handle, &version);
    vorin_SttEnumDevice(handle, NULL, &gpus);
    printf("vorin_stt %d.%d, %d GPU(s)\n", version.major, version.minor, gpus);
    paint(input);
    result = restyle(handle, input, output);
    /* A filter that could not be set up shows only here: it leaves the frame black, alpha included. */
    if (result == 0 && output[3] == 0) {
      fprintf(stderr, "the filter did not draw\n");
      result = 1;
    }
    vorin_SttDestroy(handle);
  }
  free(output);
  free(input);
  return result;
}
