// Ends a poll that another thread is in.
#pragma once

#include "platform/descriptor.h"

namespace vqbluez {

class Waker {
 public:
  Waker();

  bool isUsable() const { return event_.isOpen(); }
  int fd() const { return event_.get(); }  // readable once wake() was called
  void wake() const;
  void clear() const;

 private:
  platform::Descriptor event_;
};

}  // namespace vqbluez
