// A host's own VQSingleton that is wrong: each thread has an instance of its own.
#pragma once

#include "VQFramework/Singleton/VQSingletonFinalizer.h"

template <class T>
class VQSingleton {
 public:
  static T* getInstance() {
    if (instance_ == nullptr) {
      instance_ = new T();
      VQSingletonFinalizer::addDestroyFunc(&VQSingleton<T>::destroy);
    }
    return instance_;
  }

  static T* peekInstance() { return instance_; }

  static void destroy() {
    T* const instance = instance_;
    instance_ = nullptr;
    delete instance;
  }

 private:
  static thread_local T* instance_;
};

template <class T>
thread_local T* VQSingleton<T>::instance_ = nullptr;
