// SaveFileAccessMetaText: a settings file of "key=value" lines whose values are numbers.
//
// Of several lines with one key the first counts. Blanks around key and value do not matter. Lines of any other kind
// (comments, sections, damage) mean nothing and are kept byte for byte.
// All operations refuse a file that is not open, and keys that are null, empty, start with '#' or '[', have blanks at
// an end, or contain '=' or a control character.
#pragma once

#include "VQFramework/Settings/SaveFileAccessBase.h"
#include "VQFramework/VQFrameworkExport.h"

class VQ_FRAMEWORK_API SaveFileAccessMetaText : public SaveFileAccessBase {
 public:
  ~SaveFileAccessMetaText() override;

  // The value of `key`. False, and `value` stays as it is, when there is none or it is no decimal number of 32 bits.
  bool Get(const char* key, unsigned int* value) const;

  // Notes a new value: Get finds it at once, the file has it after Flush. False for a file made with "r".
  bool Set(const char* key, unsigned int value);

  // Writes what was set to the file, over what stands there now: other keys keep the values that other processes gave
  // them meanwhile. Readers see the old file or the new one, never a part, also after a loss of power; when this
  // returns true the new one is on the disk. False, with a log line, when it could not be written: the file is as
  // before, or the new one stands there and may not be on the disk yet. What was set is kept for the next try.
  bool Flush();

 private:
  friend class SaveFileAccessFactory;
  explicit SaveFileAccessMetaText(State* state);
};
