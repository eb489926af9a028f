// The product: the device side announces its device's connection to all applications, or sends data to one of them.
#include <stdio.h>
#include <unistd.h>

#include "benchmarks/broadcast/broadcast.h"
#include "benchmarks/support/shared_page.h"
#include "benchmarks/support/stage.h"

namespace bench {
namespace {

// While applications get their sessions, all of them hear of it.
constexpr useconds_t kUntilQuiet = 100000;

void send(const BroadcastJob& job, BroadcastPage& page) {
  ProductServer server([](unsigned short /*session*/, const std::uint8_t* /*data*/, unsigned int /*size*/) {});
  page.crew.join();
  server.connect(page.start, job.plan.receivers + 1, job.plan.receivers);
  page.start.ready.waitFor(job.plan.receivers);
  std::vector<unsigned short> sessions;
  for (unsigned int i = 0; i < job.plan.receivers; ++i) {
    sessions.push_back(server.sessionOf(i));
  }
  usleep(kUntilQuiet);
  page.connected.advance();
  BroadcastSender(page, job).run([&](const std::vector<unsigned char>& message) {
    if (job.plan.isForOne) {
      server.send(sessions[message.front()], message.data(), static_cast<unsigned int>(message.size()));
    } else {
      server.announceConnection();
    }
  });
}

void receive(unsigned int index, const BroadcastJob& job, BroadcastPage& page) {
  const auto onData = [&page, &job, index](const std::uint8_t* data, unsigned int size) {
    page.arrive(index);
    if (!isWhole(job, data, size)) {
      fprintf(stderr, "a message is damaged\n");
      _exit(1);
    }
  };
  const auto onStatus = [&page, index] {
    if (page.connected.count() != 0) {
      page.arrive(index);
    }
  };
  page.crew.join();
  const ProductClient client(page.start, index, onData, onStatus);
  for (;;) {
    pause();
  }
}

}  // namespace

BroadcastFigures broadcastOf(const ProductKind& kind, const BroadcastJob& job) {
  SharedPage<BroadcastPage> page;
  std::vector<Role> roles = {{"device side", job.placement.sender, inEnvironment(kind, [&] { send(job, *page); })}};
  for (unsigned int i = 0; i < job.plan.receivers; ++i) {
    roles.push_back({"application", job.placement.receiver,
                     inEnvironment(kind, [&job, &page, i] { receive(i, job, *page); }), true});
  }
  runOnStage([] {}, roles);
  return page->figures;
}

}  // namespace bench
