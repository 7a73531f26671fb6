#include "demo/calls.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "demo/printing.h"
#include "tool/json.h"

namespace quorvin {

bool isTrue(const Value& value) {
  return value == Value(true);
}

bool isText(const Value& value) {
  return value.isText();
}

Check isListOf(std::string_view key) {
  return [key](const Value& value) {
    const auto* list = value.as<List>();
    if (list == nullptr) return false;
    for (const Value& element : *list) {
      if (!is<Map>(element) || find(*element.as<Map>(), key) == nullptr) return false;
    }
    return true;
  };
}

FlutterReply Calls::send(const std::string& method, const Value& arguments) {
  std::printf("\n%s", method.c_str());
  if (!arguments.isNull()) std::printf(" %s", textOf(jsonFromValue(arguments)).c_str());
  std::puts("");
  return channel_.call(method, arguments);
}

Value Calls::result(const std::string& method, const Value& arguments, const Check& check) {
  FlutterReply reply = send(method, arguments);
  if (const auto* error = std::get_if<FlutterError>(&reply)) {
    fail(error->message + " " + textOf(jsonFromValue(error->details)));
    return {};
  }
  if (!std::holds_alternative<Value>(reply)) {
    fail("not implemented");
    return {};
  }
  Value value = std::get<Value>(std::move(reply));
  if (check(value)) return value;
  fail(textOf(jsonFromValue(value)));
  return {};
}

void Calls::show(const std::string& method, const Value& arguments, const Check& check) {
  printValue(result(method, arguments, check));
}

void Calls::showError(const std::string& method, const Value& arguments,
                      const std::string& message) {
  const FlutterReply reply = send(method, arguments);
  const auto* error = std::get_if<FlutterError>(&reply);
  if (error == nullptr || error->message != message) return fail("no error " + message);
  std::printf("    error: %s\n", error->message.c_str());
}

void Calls::listen() {
  if (!channel_.listen()) fail("the changes cannot be listened to");
}

void Calls::showEventsUntil(const char* key, const Value& asset) {
  std::puts("\nquorvin/changes");
  Table table({"sequence", "inserted", "changed", "removed", "galleries"});
  for (bool isTold = false; !isTold;) {
    const Value event = channel_.nextEvent();
    const auto list = [&event](const char* name) {
      return *find(*event.as<Map>(), name)->as<List>();
    };
    const auto count = [&list](const char* name) { return std::to_string(list(name).size()); };
    table.add({std::to_string(integerAt(event, "sequence")), count("inserted"), count("changed"),
               count("removed"), count("galleries")});
    const List told = list(key);
    isTold = std::ranges::find(told, asset) != told.end();
  }
  table.print();
}

void Calls::fail(const std::string& what) {
  ++failures_;
  std::printf("    UNEXPECTED: %s\n", what.c_str());
}

void printHeadline(const char* text) {
  std::printf("\n—— %s\n", text);
}

}  // namespace quorvin
