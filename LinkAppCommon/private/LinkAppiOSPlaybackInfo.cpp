#include "LinkAppCommon/LinkAppiOSPlaybackInfo.h"

#include "ListenerLog.h"
#include "ListenerSlot.h"

namespace {

constexpr const char* kLogFile = "LinkAppCommon/private/LinkAppiOSPlaybackInfo";

constexpr unsigned int kPlaybackAppInfo = 3;  // notification of the client

}  // namespace

LinkAppiOSPlaybackInfoListener::~LinkAppiOSPlaybackInfoListener() = default;

void LinkAppiOSPlaybackInfoListener::onPlaybackAppInfo(iosapp_def_::PlaybackAppInfo /*info*/) {}

LinkAppiOSPlaybackInfo::LinkAppiOSPlaybackInfo()
    : client(nullptr),
      observer(new VQObserver<LinkAppiOSPlaybackInfo>(this, &LinkAppiOSPlaybackInfo::oniOSClientUpdate)),
      listener(new LinkAppListenerSlot<LinkAppiOSPlaybackInfoListener>) {
  client = new iOSAppCommonClient("", "", "");
}

LinkAppiOSPlaybackInfo::~LinkAppiOSPlaybackInfo() {
  delete observer;
  observer = nullptr;
  delete client;
  client = nullptr;
  delete listener;
}

bool LinkAppiOSPlaybackInfo::setListener(LinkAppiOSPlaybackInfoListener* newListener) {
  if (newListener == nullptr) {
    logNullListener(kLogFile, 57);
    return false;
  }
  listener->set(newListener);
  client->AddObserver(observer);
  return true;
}

// False also when it did what it was asked for: callers never relied on the result.
bool LinkAppiOSPlaybackInfo::removeListener(LinkAppiOSPlaybackInfoListener* oldListener) {
  if (!listener->holds(oldListener)) {
    logForeignListener(kLogFile, 72);
    return false;
  }
  client->RemoveObserver(observer);
  listener->clear(oldListener);
  return false;
}

bool LinkAppiOSPlaybackInfo::oniOSClientUpdate(unsigned int id, void* record, unsigned int size) {
  if (size == 0 || record == nullptr || id != kPlaybackAppInfo) {
    return false;
  }
  const iosapp_def_::PlaybackAppInfo info = *static_cast<const iosapp_def_::PlaybackAppInfo*>(record);
  listener->call([&info](LinkAppiOSPlaybackInfoListener& target) { target.onPlaybackAppInfo(info); });
  return false;
}
