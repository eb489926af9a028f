#include "benchmarks/cost/pair.h"

#include <sched.h>
#include <stdio.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>

#include "benchmarks/support/placement.h"
#include "benchmarks/support/shared_page.h"
#include "benchmarks/support/stage.h"

namespace bench {
namespace {

struct Page {
  ProductStart start;
  Watch watch;
  Account device;
  Account application;
  Milestone arrived;  // announcements
  Milestone done;
  Crew crew;
  double switches;  // of all, while the application counted
};

// Whom a sender wakes does not push it off the processor, as it would now and then: the sender goes on until it sleeps.
// So every message takes the same way, and the counts of a run are those of every other run.
void takeTurns() {
  const sched_param none = {};
  if (sched_setscheduler(0, SCHED_BATCH, &none) != 0) {
    throw std::runtime_error("cannot be scheduled as a batch job");
  }
}

// First of all in each of the two, before the product starts threads.
void prepareToCount(const PairJob& job, Account& account, Page& page) {
  takeTurns();
  if (job.way == Way::kWatched) {
    letWatch(account.watched, page.watch);
  }
}

std::uint32_t processesOf(const PairJob& job) {
  return job.kind.apps == 1 ? 2 : 3;
}

void answerData(const PairJob& job, Page& page) {
  prepareToCount(job, page.device, page);
  Bookkeeper books(page.device, job.warmUp, job.count);
  ProductServer* own = nullptr;
  ProductServer server([&](unsigned short session, const std::uint8_t* data, unsigned int size) {
    books.nextMessage();
    books.sending([&] { own->send(session, data, size); });
  });
  own = &server;
  page.crew.join();
  server.connect(page.start, processesOf(job), job.kind.apps);
  page.done.waitFor(1);
}

// Sends one message after the other, each when the one before is back, and looks at what came back.
class Asker {
 public:
  Asker(const PairJob& job, Page& page)
      : total_(job.warmUp + job.count + 1),  // the last one finds both books closed
        page_(page),
        message_(job.bytes),
        books_(
            page.application, job.warmUp, job.count, [this] { begin_ = page_.crew.usage(); },
            [this] { page_.switches = (page_.crew.usage() - begin_).switches; }) {}

  void run() {
    ProductClient client(page_.start, 1, [this](const std::uint8_t* data, unsigned int size) { onAnswer(data, size); });
    own_ = &client;
    page_.crew.join();
    page_.start.ready.waitFor(1);
    send();
    page_.done.waitFor(1);
  }

 private:
  void onAnswer(const std::uint8_t* data, unsigned int size) {
    if (size != message_.size() || data[0] != message_.front() || data[size - 1] != message_.back()) {
      fprintf(stderr, "a message is damaged\n");
      _exit(1);
    }
    books_.nextMessage();
    if (number_ == total_) {
      page_.done.advance();
    } else {
      send();
    }
  }

  void send() {
    const auto mark = static_cast<unsigned char>(++number_);
    message_.front() = mark;
    message_.back() = mark;
    books_.sending([this] { own_->send(message_.data(), static_cast<unsigned int>(message_.size())); });
  }

  const std::uint32_t total_;
  Page& page_;
  std::vector<unsigned char> message_;
  std::uint32_t number_ = 0;
  Usage begin_;
  Bookkeeper books_;
  ProductClient* own_ = nullptr;
};

void askData(const PairJob& job, Page& page) {
  prepareToCount(job, page.application, page);
  Asker(job, page).run();
}

void announceStatus(const PairJob& job, Page& page) {
  prepareToCount(job, page.device, page);
  Bookkeeper books(page.device, job.warmUp, job.count);
  ProductServer server([](unsigned short /*session*/, const std::uint8_t* /*data*/, unsigned int /*size*/) {});
  page.crew.join();
  server.connect(page.start, processesOf(job), job.kind.apps);
  page.start.ready.waitFor(1);
  for (std::uint32_t i = 1; i <= job.warmUp + job.count; ++i) {
    books.nextMessage();
    books.sending([&server] { server.announceConnection(); });
    page.arrived.waitFor(i);
  }
}

void hearStatus(const PairJob& job, Page& page) {
  prepareToCount(job, page.application, page);
  Bookkeeper books(page.application, job.warmUp, job.count);
  const auto onData = [](const std::uint8_t* /*data*/, unsigned int /*size*/) {};
  const ProductClient client(page.start, 1, onData, [&] {
    books.nextMessage();
    page.arrived.advance();
  });
  page.crew.join();
  page.arrived.waitFor(job.warmUp + job.count);
}

double share(std::uint64_t sum, const PairJob& job) {
  return static_cast<double>(sum) / job.count;
}

double share(const Counts& counts, Doing doing, const PairJob& job) {
  return share(counts[static_cast<unsigned int>(doing)].load(), job);
}

std::vector<PairFigure> statusFigures(const PairJob& job, const Page& page) {
  return {{"sender_allocations", share(page.device.allocations, Doing::kSend, job)},
          {"receiver_allocations", share(page.application.allocations, Doing::kReceive, job)},
          {"own_copy_allocations", share(page.device.allocations, Doing::kReceive, job)}};
}

// Each process sends and receives once per round trip. Where both directions should cost the same the worse one counts.
std::vector<PairFigure> plainFigures(const PairJob& job, const Page& page) {
  const auto worse = [&](Doing doing) {
    return std::max(share(page.device.calls, doing, job), share(page.application.calls, doing, job));
  };
  return {{"sender_calls", worse(Doing::kSend)},
          {"receiver_calls", worse(Doing::kReceive)},
          {"switches", page.switches / job.count / 2},
          {"app_sender_allocations", share(page.application.allocations, Doing::kSend, job)},
          {"device_receiver_allocations", share(page.device.allocations, Doing::kReceive, job)},
          {"device_sender_allocations", share(page.device.allocations, Doing::kSend, job)},
          {"app_receiver_allocations", share(page.application.allocations, Doing::kReceive, job)}};
}

// System calls that did not come through syscall(), where the others are counted.
std::vector<PairFigure> watchedFigures(const PairJob& job, const Page& page) {
  const auto other = [&job](const Account& account) {
    const std::uint64_t seen = account.calls[0] + account.calls[1];
    if (account.watched.calls < seen) {
      throw std::runtime_error("system calls were overlooked");
    }
    return share(account.watched.calls - seen, job);
  };
  return {{"other_calls", std::max(other(page.device), other(page.application))}};
}

std::vector<PairFigure> callgrindFigures(const PairJob& job, const Page& page) {
  const double device = share(page.device.instructions, job) / 2;  // half of a round trip
  const double application = share(page.application.instructions, job) / 2;
  return {{"instructions", device + application},
          {"device_side_instructions", device},
          {"application_instructions", application}};
}

std::vector<Role> rolesOf(const PairJob& job, int processor, Page& page) {
  const auto role = [&](const char* name, void (*main)(const PairJob&, Page&)) {
    return Role{name, processor, inEnvironment(job.kind, [&job, &page, main] { main(job, page); })};
  };
  std::vector<Role> roles = {role("device side", job.isStatus ? &announceStatus : &answerData),
                             role("application", job.isStatus ? &hearStatus : &askData)};
  if (job.kind.apps > 1) {
    roles.push_back(idleApplications(job.kind, processor, page.start, page.crew));
  }
  if (job.way == Way::kWatched) {
    roles.push_back({"watcher", placements("both").back().receiver, [&page] {
                       watchCalls({&page.device.watched, &page.application.watched}, page.watch);
                     }});
  }
  return roles;
}

}  // namespace

std::vector<PairFigure> figuresOf(const PairJob& job, int processor) {
  SharedPage<Page> page;
  runOnStage([] {}, rolesOf(job, processor, *page));
  if (job.way == Way::kCallgrind) {
    return callgrindFigures(job, *page);
  }
  if (job.way == Way::kWatched) {
    return watchedFigures(job, *page);
  }
  return job.isStatus ? statusFigures(job, *page) : plainFigures(job, *page);
}

}  // namespace bench
