#include "control/request.h"

#include <nlohmann/json.hpp>

namespace control {
namespace {

using Json = nlohmann::json;

bool refuse(RequestError& error, const std::string& text) {
  error = {text, 0, true};
  return false;
}

// A list of words is taken as it stands: no quotes, no comments.
bool takeWords(const Json& list, Request& request) {
  for (const Json& word : list) {
    if (!word.is_string()) {
      return false;
    }
    request.words.push_back({word.get<std::string>(), request.end, false});
    request.end += command::countCharacters(request.words.back().text) + 1;
  }
  return !list.empty();
}

}  // namespace

bool parseRequest(const std::string& line, Request& request, RequestError& error) {
  const Json json = Json::parse(line, nullptr, false);
  if (json.is_discarded()) {
    return refuse(error, "not a line of JSON");
  }
  if (!json.is_object()) {
    return refuse(error, R"(expected an object such as {"id":1,"command":"state"})");
  }
  const auto id = json.find("id");
  if (id != json.end()) {
    if (!id->is_string() && !id->is_number_integer()) {
      return refuse(error, "\"id\" is neither a text nor a whole number");
    }
    request.id = id->dump();
  }
  const auto command = json.find("command");
  if (command == json.end()) {
    return refuse(error, "there is no \"command\"");
  }
  if (command->is_array()) {
    return takeWords(*command, request) || refuse(error, "\"command\" is not a list of words");
  }
  if (!command->is_string()) {
    return refuse(error, "\"command\" is neither a text nor a list of words");
  }
  command::Mistake mistake;
  if (!command::splitWords(command->get<std::string>(), request.words, request.end, mistake)) {
    error = {mistake.text, mistake.column, false};
    return false;
  }
  return true;
}

}  // namespace control
