#include "LinkAppCommon/VQSILinkAppSenderReceiver.h"

VQSILinkAppSenderReceiverListener::~VQSILinkAppSenderReceiverListener() = default;

void VQSILinkAppSenderReceiverListener::onSendResult(unsigned int /*failed*/) {}

void VQSILinkAppSenderReceiverListener::onReceivedMsg(const unsigned char* /*data*/, unsigned int /*size*/) {}

VQSILinkAppSenderReceiver::~VQSILinkAppSenderReceiver() = default;
