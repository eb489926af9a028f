// An application that sends what it was given and ends.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "app/application.h"
#include "app/options.h"
#include "loop/loop.h"

namespace app {

// Watches over one application until everything is sent, has its result, and what was expected has come; or until
// nothing has happened for too long.
class Delivery {
 public:
  // `onEnd` is called once: with an empty text, or with what is missing. Throws std::runtime_error where the file
  // cannot be read.
  Delivery(loop::Loop& loop, Application& application, const Options& options,
           std::function<void(const std::string& failure)> onEnd);
  ~Delivery();
  Delivery(const Delivery&) = delete;
  Delivery& operator=(const Delivery&) = delete;

 private:
  void check();
  void end(const std::string& failure);
  void waitAnew();
  std::string whatIsMissing() const;
  void showProgress();
  void clearProgress() const;

  loop::Loop& loop_;
  Application& application_;
  const Options& options_;
  const std::function<void(const std::string&)> onEnd_;
  const bool isShowingProgress_;
  bool hasEnded_ = false;
  loop::TimerId patience_ = 0;
  loop::TimerId progress_ = 0;
};

}  // namespace app
