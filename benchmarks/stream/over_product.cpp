// One way through the product: sendDataFromHU on the application's main thread, the server's observer on its own.
#include "benchmarks/stream/stream.h"
#include "benchmarks/support/shared_page.h"
#include "benchmarks/support/stage.h"

namespace bench {
namespace {

void receive(const ProductKind& kind, std::uint32_t processes, const StreamJob& job, StreamPage& page) {
  StreamReceiver receiver(page, job.bytes);
  ProductServer server([&receiver](unsigned short /*session*/, const std::uint8_t* data, unsigned int size) {
    receiver.take(data, size);
  });
  page.crew.join();
  server.connect(page.start, processes, kind.apps);
  page.counted.waitFor(1);
}

void send(const StreamJob& job, StreamPage& page) {
  ProductClient client(page.start, 1, [](const std::uint8_t* /*data*/, unsigned int /*size*/) {});
  page.crew.join();
  page.start.ready.waitFor(1);
  StreamSender(page, job).run(
      [&client](const void* data, std::size_t size) { client.send(data, static_cast<unsigned int>(size)); }, [] {});
  page.counted.advance();
}

}  // namespace

StreamFigures streamOf(const ProductKind& kind, const StreamJob& job) {
  SharedPage<StreamPage> page;
  std::vector<Role> roles = idleProcesses(kind, job.placement.sender, page->start, page->crew);
  const auto processes = static_cast<std::uint32_t>(roles.size() + 2);
  roles.push_back(
      {"device side", job.placement.receiver, inEnvironment(kind, [&] { receive(kind, processes, job, *page); })});
  roles.push_back({"application", job.placement.sender, inEnvironment(kind, [&] { send(job, *page); })});
  runOnStage([] {}, roles);
  return page->figures;
}

}  // namespace bench
