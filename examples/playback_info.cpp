// Shows which app plays media on the iPhone.
#include <iostream>

#include "LinkAppCommon/LinkAppiOSPlaybackInfo.h"

class PlaybackPrinter final : public LinkAppiOSPlaybackInfoListener {
 public:
  void onPlaybackAppInfo(iosapp_def_::PlaybackAppInfo info) override {
    std::cout << "iPhone " << info.deviceId << " plays with " << info.appName << std::endl;
  }
};

int main() {
  PlaybackPrinter printer;
  LinkAppiOSPlaybackInfo playback;
  playback.setListener(&printer);
  std::cout << "waiting for the phone; Enter ends" << std::endl;
  std::cin.get();
  playback.removeListener(&printer);  // it answers false, also when all went well
}
