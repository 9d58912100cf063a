// A sign's own controller. It reads frames with a GetStatusModule each, takes
// the settings in them, and answers each with the status of its module. A
// message without settings asks for the status alone.
#include <pb_encode.h>

#include "Network.pb.h"
#include "frames.h"
#include "strict.h"

// The bits of errorFlags: why the last frame was refused.
enum { kFrameFault = 1, kFormFault = 2, kTextFault = 4, kSettingFault = 8 };

static uint8_t bytes[tarn_GetStatusModule_size];
static tarn_GetStatusModule request;
static tarn_GetStatusModule status = {
    .hwId = "D16-24",
    .fwRev = 1,
    .linearAddr = 1,
    .tempKelvin = 298,
    .statusRetrieved = true,
};

// Takes all settings of a request, or none. Returns the fault that it has.
static int32_t Configure(const tarn_GetStatusModule* wanted) {
  const tarn_DimmingValues* dimming = &wanted->dimmingConfig;
  if (wanted->has_dimmingConfig) {
    if (dimming->minimumDimming > dimming->maximumDimming ||
        dimming->manualDimming < dimming->minimumDimming ||
        dimming->manualDimming > dimming->maximumDimming) {
      return kSettingFault;
    }
    status.has_dimmingConfig = true;
    status.dimmingConfig = *dimming;
    status.dimmingConfig.currentDimming = dimming->manualDimming;
  }
  for (pb_size_t i = 0; i < wanted->frameConfig_count; ++i) {
    status.frameConfig[i] = wanted->frameConfig[i];
  }
  if (wanted->frameConfig_count > 0) {
    status.frameCount = status.frameConfig_count = wanted->frameConfig_count;
  }
  if (wanted->has_dimmingConfig || wanted->frameConfig_count > 0) {
    ++status.configRev;
  }
  return 0;
}

static int32_t Take(size_t size) {
  switch (DecodeStrictly(tarn_GetStatusModule_fields, bytes, size, &request)) {
    case kDecoded:
      return Configure(&request);
    case kNotText:
      return kTextFault;
    default:
      return kFormFault;
  }
}

static void Answer(void) {
  pb_ostream_t output = pb_ostream_from_buffer(bytes, sizeof bytes);
  if (!pb_encode(&output, tarn_GetStatusModule_fields, &status)) return;
  WriteFrame(bytes, output.bytes_written);
}

int main(void) {
  for (;;) {
    size_t size;
    const FrameResult result = ReadFrame(bytes, sizeof bytes, &size);
    if (result == kNoMoreFrames) return 0;
    status.errorFlags = result == kFrame ? Take(size) : kFrameFault;
    Answer();
  }
}
