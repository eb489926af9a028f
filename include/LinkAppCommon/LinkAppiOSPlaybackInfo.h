// LinkAppiOSPlaybackInfo: tells which app plays media on the iOS device. Its listener is a
// LinkAppiOSPlaybackInfoListener.
//
// It owns a client of the iOS app channel that registers no app. Creating it under traffic resets the rings' write
// positions, as every client does: create it at start-up.
// Threads: operations any. The callback runs on the framework's delivery thread, with no lock held.
// Lifetime: a callback may destroy other objects, never the one that is calling it. The destructor waits for a running
// callback.
#pragma once

#include "LinkAppCommon/LinkAppExport.h"
#include "LinkAppCommon/iOSAppCommonClient.h"
#include "LinkAppCommon/iOSAppRecords.h"
#include "VQFramework/Observer/VQObserver.h"

template <class Listener>
class LinkAppListenerSlot;

// What an application implements to hear which app plays. The body here does nothing.
class LINKAPP_API LinkAppiOSPlaybackInfoListener {
 public:
  // The order of the virtual operations is part of the interface.
  virtual ~LinkAppiOSPlaybackInfoListener();
  // Another app plays now. The record is the listener's own copy.
  virtual void onPlaybackAppInfo(iosapp_def_::PlaybackAppInfo info);
};

class LINKAPP_API LinkAppiOSPlaybackInfo {
 public:
  // Opens the channel; nothing is heard before setListener.
  LinkAppiOSPlaybackInfo();
  ~LinkAppiOSPlaybackInfo();
  LinkAppiOSPlaybackInfo(const LinkAppiOSPlaybackInfo&) = delete;
  LinkAppiOSPlaybackInfo& operator=(const LinkAppiOSPlaybackInfo&) = delete;

  // Makes `listener` the one that is called, in place of a former one. Each successful call subscribes once more: after
  // two, each notice calls twice. False, with a log line and no change, for null.
  // The listener is not taken over: it lives until it is removed or replaced, or this object is gone. Replacing waits
  // for a running call of the former one: hold no lock that its callback takes.
  bool setListener(LinkAppiOSPlaybackInfoListener* listener);

  // Ends all subscriptions and forgets the listener, if it is this one; else logs a line and changes nothing. Returns
  // false in every case. When it returns, no call of the listener is running, except one that the caller is inside of.
  bool removeListener(LinkAppiOSPlaybackInfoListener* listener);

  // Handler of the client's notification 3. Returns false in every case and ignores foreign identifiers, a null record
  // and a size of 0.
  bool oniOSClientUpdate(unsigned int id, void* record, unsigned int size);

 private:
  iOSAppCommonClient* client;
  VQObserver<LinkAppiOSPlaybackInfo>* observer;
  LinkAppListenerSlot<LinkAppiOSPlaybackInfoListener>* listener;
};
