#include "bluez_sim/json_lines.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <sstream>
#include <vector>

#include "text/fields.h"

namespace bluez_sim {
namespace {

std::vector<std::string> wordsOf(const std::string& line) {
  std::istringstream stream(line);
  std::vector<std::string> words;
  for (std::string word; stream >> word;) {
    words.push_back(word);
  }
  return words;
}

bool isAddress(const std::string& word) {
  return word.size() == 17 && std::count(word.begin(), word.end(), ':') == 5;
}

bool isUuid(const std::string& word) {
  return word.size() == 36 && std::count(word.begin(), word.end(), '-') == 4;
}

bool isOneOf(const std::string& word, const std::vector<std::string>& words) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

text::Fields fieldsOf(const std::vector<std::string>& words) {
  text::Fields fields;
  for (std::size_t i = 1; i < words.size(); ++i) {
    if (isAddress(words[i])) {
      fields.push_back({"address", words[i]});
    } else if (isUuid(words[i])) {
      fields.push_back({"uuid", words[i]});
    } else if (isOneOf(words[i], {"up", "connected", "started", "registered"})) {
      fields.push_back({"up", true});
    } else if (isOneOf(words[i], {"down", "disconnected", "ended", "unregistered", "forgotten,"})) {
      fields.push_back({"up", false});
    }
  }
  return fields;
}

double secondsNow() {
  static const std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

std::string eventOf(const std::string& name, const text::Fields& fields) {
  char time[32];
  snprintf(time, sizeof time, ",\"time\":%.6f,", secondsNow());
  return "{\"event\":" + text::jsonQuoted(name) + time + text::toJson(fields).substr(1);
}

}  // namespace

std::string eventLine(const std::string& said) {
  const std::vector<std::string> words = wordsOf(said);
  text::Fields fields = fieldsOf(words);
  fields.push_back({"text", said});
  const bool isKnown = !words.empty() &&
                       isOneOf(words[0], {"phone", "hands-free", "link", "connect", "profile", "bluetoothd", "ofonod"});
  return eventOf(isKnown ? words[0] : "said", fields);
}

std::string readyLine(const std::string& bus) {
  return eventOf("ready", {{"bus", bus}});
}

std::string replyLine(const std::string& command, const std::string& answer) {
  text::Fields fields = {{"reply", command}, {"ok", true}};
  for (const std::string& word : wordsOf(answer)) {
    const std::size_t equals = word.find('=');
    if (equals != std::string::npos && equals != 0) {
      fields.push_back({word.substr(0, equals), word.substr(equals + 1)});
    }
  }
  fields.push_back({"text", answer});
  return text::toJson(fields);
}

std::string refusalLine(const std::string& command, const std::string& error) {
  return text::toJson({{"reply", command}, {"ok", false}, {"error", error}});
}

std::string nameIn(const std::string& line) {
  const std::vector<std::string> words = wordsOf(line);
  return words.empty() ? "" : words[0];
}

}  // namespace bluez_sim
