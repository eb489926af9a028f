// VQSILinkAppSenderReceiver: sends messages to the phone app and hands on what comes back, with its listener interface.
#pragma once

#include "LinkAppCommon/LinkAppExport.h"

// What an application implements to hear from its phone app. Which thread calls, says the class that calls.
class LINKAPP_API VQSILinkAppSenderReceiverListener {
 public:
  // The order of these is part of the interface.
  virtual ~VQSILinkAppSenderReceiverListener();
  // How a message that was sent ended: 0 = delivered, 1 = not.
  virtual void onSendResult(unsigned int failed);
  // One message. The bytes are valid during the call only.
  virtual void onReceivedMsg(const unsigned char* data, unsigned int size);
};

class LINKAPP_API VQSILinkAppSenderReceiver {
 public:
  // The order of these is part of the interface.
  virtual ~VQSILinkAppSenderReceiver();
  virtual bool setListener(VQSILinkAppSenderReceiverListener* listener) = 0;
  virtual bool removeListener(VQSILinkAppSenderReceiverListener* listener) = 0;
  virtual bool requestMsgSend(const unsigned char* data, unsigned int size) = 0;
};
