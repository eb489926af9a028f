#include "platform/bluez/bus.h"

#include <errno.h>
#include <poll.h>
#include <string.h>
#include <time.h>

#include <exception>
#include <utility>

#include "platform/bluez/log.h"

namespace vqbluez {
namespace {

// Nothing may be thrown through sd-bus.
template <class Call>
int withoutExceptions(Call call) {
  try {
    return call();
  } catch (const std::exception& e) {
    logLine("a D-Bus message is lost: %s", e.what());
    return -ENOMEM;
  }
}

template <class Function>
void destroy(void* function) {
  delete static_cast<Function*>(function);
}

// Leaves the slot to the bus; the function goes with it.
template <class Function>
void letGo(sd_bus_slot* slot, std::unique_ptr<Function> function) {
  sd_bus_slot_set_destroy_callback(slot, &destroy<Function>);
  function.release();  // NOLINT(bugprone-unused-return-value): the slot owns it now
  sd_bus_slot_set_floating(slot, 1);
  sd_bus_slot_unref(slot);
}

Reply failed(const char* name, const std::string& text) {
  return {nullptr, name, text};
}

Reply failed(int error) {
  return failed("no answer", strerror(error));
}

int onReply(sd_bus_message* message, void* data, sd_bus_error* /*unused*/) {
  return withoutExceptions([&] {
    const auto& done = *static_cast<Bus::ReplyHandler*>(data);
    const sd_bus_error* const error = sd_bus_message_get_error(message);
    if (error != nullptr) {
      done(failed(error->name, error->message == nullptr ? "" : error->message));
    } else {
      done({Message(sd_bus_message_ref(message)), "", ""});
    }
    return 1;
  });
}

int onSignal(sd_bus_message* message, void* data, sd_bus_error* /*unused*/) {
  return withoutExceptions([&] {
    (*static_cast<Bus::Handler*>(data))(message);
    return 0;
  });
}

// A rule that the bus refuses (it does not) would end the connection where nobody takes the answer.
int onFollowed(sd_bus_message* message, void* /*unused*/, sd_bus_error* /*unused*/) {
  const sd_bus_error* const error = sd_bus_message_get_error(message);
  if (error != nullptr) {
    logLine("cannot follow signals: %s", error->message == nullptr ? error->name : error->message);
  }
  return 1;
}

int onObjectCall(sd_bus_message* message, void* data, sd_bus_error* /*unused*/) {
  return withoutExceptions([&] { return (*static_cast<Bus::ObjectHandler*>(data))(message) ? 1 : 0; });
}

}  // namespace

std::unique_ptr<Bus> Bus::open(int& error) {
  sd_bus* bus = nullptr;
  const int result = sd_bus_open_system(&bus);
  if (result < 0) {
    sd_bus_unref(bus);
    error = -result;
    return nullptr;
  }
  return std::unique_ptr<Bus>(new Bus(bus));
}

Bus::~Bus() {
  sd_bus_close(bus_);
  sd_bus_unref(bus_);
}

Message Bus::newCall(const char* service, const std::string& path, const char* interface, const char* method) {
  sd_bus_message* message = nullptr;
  if (sd_bus_message_new_method_call(bus_, &message, service, path.c_str(), interface, method) < 0) {
    return nullptr;
  }
  sd_bus_message_set_auto_start(message, 0);
  return Message(message);
}

void Bus::send(const Message& message, std::chrono::microseconds limit, ReplyHandler done) {
  auto handler = std::make_unique<ReplyHandler>(std::move(done));
  sd_bus_slot* slot = nullptr;
  const int result = message == nullptr ? -ENOTCONN
                                        : sd_bus_call_async(bus_, &slot, message.get(), &onReply, handler.get(),
                                                            static_cast<std::uint64_t>(limit.count()));
  if (result < 0) {
    (*handler)(failed(-result));
    return;
  }
  letGo(slot, std::move(handler));
}

void Bus::sendOnly(const Message& message) {
  if (message != nullptr) {
    sd_bus_message_set_expect_reply(message.get(), 0);
    sd_bus_send(bus_, message.get(), nullptr);
  }
}

Reply Bus::call(const Message& message, std::chrono::microseconds limit) {
  if (message == nullptr) {
    return failed(ENOTCONN);
  }
  sd_bus_error error{};
  sd_bus_message* answer = nullptr;
  const int result = sd_bus_call(bus_, message.get(), static_cast<std::uint64_t>(limit.count()), &error, &answer);
  if (result >= 0) {
    return {Message(answer), "", ""};
  }
  Reply reply =
      error.name == nullptr ? failed(-result) : failed(error.name, error.message == nullptr ? "" : error.message);
  sd_bus_error_free(&error);
  return reply;
}

void Bus::follow(const std::string& rule, Handler handler) {
  auto function = std::make_unique<Handler>(std::move(handler));
  sd_bus_slot* slot = nullptr;
  const int result = sd_bus_add_match_async(bus_, &slot, rule.c_str(), &onSignal, &onFollowed, function.get());
  if (result < 0) {
    logLine("cannot follow signals: %s", strerror(-result));
    return;
  }
  letGo(slot, std::move(function));
}

BusSlot Bus::addObject(const std::string& path, ObjectHandler handler) {
  auto function = std::make_unique<ObjectHandler>(std::move(handler));
  sd_bus_slot* slot = nullptr;
  if (sd_bus_add_object(bus_, &slot, path.c_str(), &onObjectCall, function.get()) < 0) {
    return nullptr;
  }
  sd_bus_slot_set_destroy_callback(slot, &destroy<ObjectHandler>);
  function.release();  // NOLINT(bugprone-unused-return-value): the slot owns it now
  return BusSlot(slot);
}

int Bus::fd() const {
  return sd_bus_get_fd(bus_);
}

short Bus::events() const {
  const int events = sd_bus_get_events(bus_);
  return events < 0 ? short{POLLIN} : static_cast<short>(events);
}

std::chrono::milliseconds Bus::wait() const {
  std::uint64_t due = 0;
  if (sd_bus_get_timeout(bus_, &due) <= 0 || due == UINT64_MAX) {
    return std::chrono::milliseconds(-1);
  }
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  const std::uint64_t present =
      static_cast<std::uint64_t>(now.tv_sec) * 1000000U + static_cast<std::uint64_t>(now.tv_nsec) / 1000U;
  return std::chrono::milliseconds(due <= present ? 0 : (due - present) / 1000U + 1U);
}

int Bus::process() {
  return sd_bus_process(bus_, nullptr);
}

void Bus::waitForWork(std::chrono::microseconds limit) {
  sd_bus_wait(bus_, static_cast<std::uint64_t>(limit.count()));
}

}  // namespace vqbluez
