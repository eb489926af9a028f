#include "benchmarks/stream/stream.h"
#include "benchmarks/support/shared_page.h"
#include "benchmarks/support/stage.h"

namespace bench {
namespace {

void open(Link& link, Side side, StreamPage& page) {
  link.open(side);
  page.crew.join();
  page.open.advance();
  page.open.waitFor(2);
}

void send(Link& link, const StreamJob& job, StreamPage& page) {
  open(link, Side::kClient, page);
  StreamSender(page, job).run([&link](const void* data, std::size_t size) { link.send(data, size); },
                              [&link] { link.flush(); });
}

void receive(Link& link, const StreamJob& job, StreamPage& page) {
  open(link, Side::kServer, page);
  StreamReceiver receiver(page, job.bytes);
  unsigned char buffer[kMaxMessage] = {};
  while (!receiver.isDone()) {
    const std::size_t size = link.receive(buffer);
    receiver.take(buffer, size);
  }
}

}  // namespace

StreamFigures streamOf(const LinkKind& kind, const StreamJob& job) {
  const std::unique_ptr<Link> link = kind.make();
  SharedPage<StreamPage> page;
  runOnStage([&] { link->prepare(job.placement.receiver); },
             {{"receiver", job.placement.receiver, [&] { receive(*link, job, *page); }},
              {"sender", job.placement.sender, [&] { send(*link, job, *page); }}});
  return page->figures;
}

}  // namespace bench
