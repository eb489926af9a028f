#include "tests/faults/results.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>

namespace faults {
namespace {

std::vector<Result>& results() {
  static auto* const all = new std::vector<Result>;
  return *all;
}

std::string quoted(const std::string& text) {
  std::string result = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') {
      result += '\\';
    }
    result += c;
  }
  return result + "\"";
}

std::string quoted(const std::vector<std::string>& texts) {
  std::string result;
  for (const std::string& text : texts) {
    result += (result.empty() ? "" : ", ") + quoted(text);
  }
  return "[" + result + "]";
}

const char* nameOf(Way way) {
  switch (way) {
    case Way::kOnce:
      return "once";
    case Way::kAlways:
      return "always";
    case Way::kStorm:
      break;
  }
  return "100 times";
}

std::string jsonOf(const Result& result) {
  const Place& place = result.fault.place;
  return "  {\"operation\": " + quoted(result.operation) + ", \"call\": " + quoted(place.call) +
         ", \"object\": " + quoted(place.object) +
         ", \"thread\": " + quoted(place.who == Who::kDelivery ? "delivery" : "caller") +
         ", \"nth\": " + std::to_string(place.nth) + ", \"error\": " + quoted(faults::nameOf(result.fault.error)) +
         ", \"way\": " + quoted(nameOf(result.fault.way)) + ", \"outcome\": " + quoted(result.outcome) +
         ", \"log\": " + quoted(result.log) + ", \"again\": " + quoted(result.again) + "}";
}

class WriteAtTheEnd : public testing::Environment {
 public:
  void TearDown() override {
    const char* const path = getenv("LINKAPP_FAULTS_JSON");
    if (path == nullptr) {
      return;
    }
    std::ofstream file(path);
    file << "[\n";
    for (std::size_t i = 0; i < results().size(); ++i) {
      file << jsonOf(results()[i]) << (i + 1 < results().size() ? ",\n" : "\n");
    }
    file << "]\n";
    EXPECT_TRUE(file.good()) << path << " cannot be written";
  }
};

const testing::Environment* const environment = testing::AddGlobalTestEnvironment(new WriteAtTheEnd);

}  // namespace

void addResult(const Result& result) {
  results().push_back(result);
}

}  // namespace faults
