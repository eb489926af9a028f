#include "MemPack.h"

#include "ChannelValues.h"
#include "LinkAppCommon/iOSAppCommonLocalMem.h"
#include "NotifyIds.h"

iOSAppMemPack* createMemPack(std::uint32_t deviceId) {
  // Without a name an endpoint stays unmapped: that is how other devices have no data path.
  const bool hasSegments = deviceId == kServedDeviceId;
  const char* const fromHUName = hasSegments ? "iOSAppMem_Device1_From_HU" : "";
  const char* const fromDeviceName = hasSegments ? "iOSAppMem_Device1_From_Device" : "";

  auto* const pack = new iOSAppMemPack;
  pack->deviceId = deviceId;
  pack->fromHU = new iOSAppCommonLocalMem(fromHUName, deviceId, hasSegments ? kNotifyFromHU : 0);
  pack->fromDevice = new iOSAppCommonLocalMem(fromDeviceName, deviceId, hasSegments ? kNotifyFromDevice : 0);
  return pack;
}

void destroyMemPack(iOSAppMemPack* pack) {
  delete pack->fromHU;
  delete pack->fromDevice;
  delete pack;
}

iOSAppMemPack* findMemPack(const std::vector<iOSAppMemPack*>& packs, std::uint32_t deviceId) {
  for (iOSAppMemPack* const pack : packs) {
    if (pack->deviceId == deviceId) {
      return pack;
    }
  }
  return nullptr;
}
