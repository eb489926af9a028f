// A session that keeps what its app does.
#pragma once

#include <string>
#include <vector>

#include "phone/app.h"

class FakeSession final : public phone::Session {
 public:
  std::uint16_t number() const override { return 101; }
  unsigned int appId() const override { return 1; }
  const std::string& launchString() const override { return launchString_; }
  void send(const phone::Bytes& message) override { sent.push_back(message); }
  void close() override { ++closes; }
  void report(const std::string& event, const text::Fields& fields) override {
    reports.push_back(event + " " + text::toText(fields));
  }

  std::vector<phone::Bytes> sent;
  std::vector<std::string> reports;
  int closes = 0;

 private:
  const std::string launchString_ = "com.example.navi";
};
