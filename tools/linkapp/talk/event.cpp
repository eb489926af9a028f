#include "talk/event.h"

#include <cstdio>

namespace talk {
namespace {

text::Fields replyFields(const std::string& command, const command::Reply& reply) {
  text::Fields fields = {{"reply", command}, {"ok", reply.isOk}};
  if (reply.isOk) {
    fields.insert(fields.end(), reply.fields.begin(), reply.fields.end());
    return fields;
  }
  fields.push_back({"error", reply.error});
  if (reply.column != 0) {
    fields.push_back({"column", reply.column});
  }
  return fields;
}

}  // namespace

double secondsNow() {
  static const std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

std::string toJsonLine(const Event& event) {
  char time[32];
  snprintf(time, sizeof time, ",\"time\":%.6f", secondsNow());
  const std::string fields = text::toJson(event.fields);  // "{...}"
  return "{\"event\":" + text::jsonQuoted(event.name) + time + (fields == "{}" ? "" : ",") + fields.substr(1);
}

std::string toJsonLine(const std::string& command, const command::Reply& reply) {
  return text::toJson(replyFields(command, reply));
}

}  // namespace talk
