// SaveFileAccessBase: what all settings files have in common, opening and closing.
//
// Threads: any; one file may be used by several threads at once. Lifetime: belongs to whoever had it made, and does not
// need the factory that made it.
#pragma once

#include "VQFramework/VQFrameworkExport.h"

class VQ_FRAMEWORK_API SaveFileAccessBase {
 public:
  virtual ~SaveFileAccessBase();
  SaveFileAccessBase(const SaveFileAccessBase&) = delete;
  SaveFileAccessBase& operator=(const SaveFileAccessBase&) = delete;

  // Reads the file. A missing one counts as empty. Opens may be nested: one of an open file only counts.
  // False, and it does not count, when the file cannot be read.
  bool FOpen();

  // Ends one FOpen. The last one drops what was set but not flushed. False when the file is not open.
  bool FClose();

 protected:
  struct State;
  explicit SaveFileAccessBase(State* state);  // takes it over
  State* const state_;                        // the file as it was read and what was set; known to the framework only
};
