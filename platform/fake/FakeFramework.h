// The in-process double of the host's framework, for unit tests: nothing happens until the test says so.
//
// Messages that VQSharedMemNotifier posts wait in one queue; the test delivers them one at a time on its own thread.
// Named locks live in this process only and can be looked at. Log lines are kept. Everything else (VQSubject, VQSync,
// VQString, ...) is the same code as in the reference framework.
// Threads: any thread may post and log; the operations below belong to the test's thread.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace vqfake {

struct Message {
  unsigned int id;
  std::vector<unsigned char> payload;
  std::vector<std::string> locksHeld;  // named locks that the poster held, outermost first
};

struct LogLine {
  std::string file;
  std::string function;
  int line;
  unsigned int tag;
  bool isStdErr;
  std::string text;
};

// Back to the state of a fresh process. Objects that are alive stay registered.
void reset();

// Notifier. Delivery calls every registered observer, on the caller's thread, as the reference does on its own: same
// order, payload aligned and followed by 512 zero bytes, nothing that was posted before the observer was added.
// A call that it makes cannot deliver another: that gives false.
bool deliverNext();         // false when nothing waits
unsigned int deliverAll();  // also what the calls post; how many were delivered
std::size_t pendingCount();
std::vector<Message> posted();                                    // everything posted since reset, in order
void post(unsigned int id, const void* data, unsigned int size);  // as another process would
void setNotifierUsable(bool usable);                              // false: AddObserver and NotifyDataUpdate refuse

// Registrations now, one identifier list each, in order of addition.
std::vector<std::vector<unsigned int>> registrations();

// Named locks.
unsigned int lockDepth(const std::string& name);  // holds by any thread, 0 = free
unsigned int lockCount(const std::string& name);  // outermost acquisitions since reset
using LockHook = std::function<void(const std::string& name)>;
// Called on the unlocking thread after each outermost unlock, but not for locks that the hook takes itself; empty =
// none.
void setAfterUnlock(LockHook hook);

// Settings files live in memory, by the names given to CreateMetaText.
std::string settingsText(const std::string& file);                       // as last flushed; empty where there is none
void setSettingsText(const std::string& file, const std::string& text);  // as another program would write it
unsigned int settingsFlushes(const std::string& file);                   // that changed the file, since reset
void setSettingsReadable(bool readable);                                 // false: FOpen refuses
void setSettingsWritable(bool writable);                                 // false: Flush refuses

// Log.
std::vector<LogLine> log();
void clearLog();

}  // namespace vqfake
