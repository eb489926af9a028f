// SaveFileAccessFactory: makes access to settings files. One per process.
//
// Threads: any. Obtained through VQSingleton<SaveFileAccessFactory>::getInstance(); what it made outlives it.
// Where the files lie is the framework's business. In the reference framework: $VQ_SETTINGS_DIR, else the user's state
// folder ($XDG_STATE_HOME or $HOME/.local/state, there "vqframework"), else, for root, /var/lib/vqframework. It looks
// at the environment when the access is made.
#pragma once

#include "VQFramework/Settings/SaveFileAccessMetaText.h"
#include "VQFramework/Singleton/VQSingleton.h"
#include "VQFramework/VQFrameworkExport.h"

class VQ_FRAMEWORK_API SaveFileAccessFactory : public VQSingleton<SaveFileAccessFactory> {
 public:
  // Access to the file `name`, a name without folders. `mode` is "r" to read only or "a+" to read and write. Nothing
  // is opened or made yet. The caller deletes it. Null for another mode and for a name that cannot be a file's.
  SaveFileAccessMetaText* CreateMetaText(const char* name, const char* mode);
};

extern template class VQSingleton<SaveFileAccessFactory>;
