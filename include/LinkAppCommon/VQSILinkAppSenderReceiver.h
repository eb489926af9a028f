// VQSILinkAppSenderReceiver: sends messages to the phone app and hands on what comes back. Its listeners are
// VQSILinkAppSenderReceiverListeners. VQSLinkAppOperator implements it.
#pragma once

#include "LinkAppCommon/LinkAppExport.h"

// What an application implements to hear from its phone app. Which thread calls, says the class that calls.
class LINKAPP_API VQSILinkAppSenderReceiverListener {
 public:
  // The order of the virtual operations is part of the interface.
  virtual ~VQSILinkAppSenderReceiverListener();
  // How a message that was sent ended: 0 = it went to the phone (over SPP: the kernel has it), which does not say that
  // the phone's app has read it; 1 = it did not. None comes for a message whose iOS session closes first or whose
  // device side dies: wait with a limit.
  virtual void onSendResult(unsigned int failed);
  // One message. The bytes are valid during the call only.
  virtual void onReceivedMsg(const unsigned char* data, unsigned int size);
};

class LINKAPP_API VQSILinkAppSenderReceiver {
 public:
  // The order of the virtual operations is part of the interface.
  virtual ~VQSILinkAppSenderReceiver();
  // Adds a listener, which is not taken over. False = refused, and nothing changes.
  virtual bool setListener(VQSILinkAppSenderReceiverListener* listener) = 0;
  // Removes it, so that it may be destroyed. False = it was not there.
  virtual bool removeListener(VQSILinkAppSenderReceiverListener* listener) = 0;
  // Sends a copy of the bytes. False = refused, and no result follows; else onSendResult tells the outcome.
  virtual bool requestMsgSend(const unsigned char* data, unsigned int size) = 0;
};
