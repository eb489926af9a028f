// The doubles of VQSBtApps and VQSBtManager, for unit tests: they record what is asked, answer as told, and tell what
// the test has them tell.
//
// Notices run on the thread that calls the operations below, at once. Any thread may call them, also at the same time.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "VQBluetooth/VQSBtAppsNtf.h"
#include "VQBluetooth/VQSBtMgrDef.h"

namespace vqfake {

// One call of an operation of VQSBtApps, or of VQSBtManager::AddObserver. What it does not take is empty.
struct BtCall {
  std::string operation;  // its name, as "connectSpp"
  unsigned int deviceId;  // 0xFFFF where it takes none
  std::vector<std::string> uuids;
  std::vector<unsigned char> data;
};

// Forgets calls and answers. Objects that are alive stay.
void resetBluetooth();

std::vector<BtCall> btCalls();  // since the reset, in order
void clearBtCalls();

// The result of an operation from now on; true where nothing was said.
void answerBt(const std::string& operation, bool result);

// Runs within every call of the operation, after it was recorded: where a notice comes before the call returns. Empty =
// none.
void onBtCall(const std::string& operation, std::function<void()> hook);

// Notices of VQSBtApps to its observers. Creates the instance where there is none.
void notifyBtApps(const VQSBtAppsNtf::SppConnectionState& record);
void notifyBtApps(const VQSBtAppsNtf::SppReceivedData& record);
void notifyBtApps(const VQSBtAppsNtf::SppDataSendResult& record);
void notifyBtApps(const VQSBtAppsNtf::SppInformation& record);
void notifyBtApps(unsigned int id, void* record, unsigned int size);

// Notices of VQSBtManager.
void notifyBtManager(const VQSBtMgrDef::PairedDeviceList& record);
void notifyBtManager(const VQSBtMgrDef::HfpConnection& record);
void notifyBtManager(const VQSBtMgrDef::PairedListFreeze& record);
void notifyBtManager(unsigned int id, void* record, unsigned int size);

}  // namespace vqfake
