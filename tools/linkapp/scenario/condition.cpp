#include <cstdlib>
#include <nlohmann/json.hpp>
#include <optional>

#include "scenario/scenario.h"

namespace scenario {
namespace {

using Json = nlohmann::json;

const char* nameOf(Condition::Operator op) {
  switch (op) {
    case Condition::Operator::kEqual:
      return "=";
    case Condition::Operator::kUnequal:
      return "!=";
    case Condition::Operator::kLess:
      return "<";
    case Condition::Operator::kLessOrEqual:
      return "<=";
    case Condition::Operator::kGreater:
      return ">";
    case Condition::Operator::kGreaterOrEqual:
      return ">=";
    case Condition::Operator::kContains:
      break;
  }
  return "~";
}

// Null where there is no such field.
const Json* fieldOf(const Json& object, std::string path) {
  const Json* inside = &object;
  while (inside->is_object() && !inside->contains(path)) {
    const std::size_t dot = path.find('.');
    const auto inner = dot == std::string::npos ? inside->end() : inside->find(path.substr(0, dot));
    if (inner == inside->end()) {
      return nullptr;
    }
    inside = &*inner;
    path.erase(0, dot + 1);
  }
  return inside->is_object() ? &*inside->find(path) : nullptr;
}

std::string textOf(const Json& value) {
  return value.is_string() ? value.get<std::string>() : value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::optional<double> numberOf(const std::string& text) {
  char* end = nullptr;
  const double number = strtod(text.c_str(), &end);
  return text.empty() || *end != '\0' ? std::nullopt : std::optional<double>(number);
}

bool isOrdered(double left, Condition::Operator op, double right) {
  switch (op) {
    case Condition::Operator::kLess:
      return left < right;
    case Condition::Operator::kLessOrEqual:
      return left <= right;
    case Condition::Operator::kGreater:
      return left > right;
    case Condition::Operator::kGreaterOrEqual:
      return left >= right;
    default:
      return false;
  }
}

bool isTrue(const std::string& value, const Condition& condition) {
  switch (condition.op) {
    case Condition::Operator::kEqual:
      return value == condition.value;
    case Condition::Operator::kUnequal:
      return value != condition.value;
    case Condition::Operator::kContains:
      return value.find(condition.value) != std::string::npos;
    default:
      break;
  }
  const std::optional<double> left = numberOf(value);
  const std::optional<double> right = numberOf(condition.value);
  return left && right && isOrdered(*left, condition.op, *right);
}

}  // namespace

bool holds(const std::string& json, const std::vector<Condition>& conditions, std::string* why) {
  const Json object = Json::parse(json, nullptr, false);
  for (const Condition& condition : conditions) {
    const Json* const field = object.is_object() ? fieldOf(object, condition.field) : nullptr;
    if (field != nullptr && (condition.isAny || isTrue(textOf(*field), condition))) {
      continue;
    }
    // A field that is not there is unequal to everything.
    if (field == nullptr && condition.op == Condition::Operator::kUnequal && !condition.isAny) {
      continue;
    }
    if (why != nullptr) {
      *why = toText(condition) + " does not hold: " +
             (field == nullptr ? "there is no " + condition.field
                               : condition.field + " is " + text::quoted(textOf(*field)));
    }
    return false;
  }
  return true;
}

std::string toText(const Condition& condition) {
  return condition.field + nameOf(condition.op) + (condition.isAny ? "*" : text::quoted(condition.value));
}

}  // namespace scenario
