#include "app/delivery.h"

#include <unistd.h>

#include <cstdio>
#include <utility>

namespace app {
namespace {

constexpr std::chrono::seconds kBeforeProgress{2};
constexpr std::chrono::milliseconds kBetweenProgress{500};
constexpr std::size_t kUsualSize = 64;

std::unique_ptr<Source> makeSource(loop::Loop& loop, const Options& options) {
  if (!options.texts.empty()) {
    return std::make_unique<ListSource>(options.texts);
  }
  if (!options.file.empty()) {
    return std::make_unique<FileSource>(options.file, options.size == 0 ? kLongestMessage : options.size);
  }
  if (options.count != 0) {
    return std::make_unique<PatternSource>(options.count, options.size == 0 ? kUsualSize : options.size);
  }
  return std::make_unique<LineSource>(loop, STDIN_FILENO);
}

std::string countOf(std::uint64_t part, std::uint64_t whole, const char* what) {
  return std::to_string(part) + " of " + std::to_string(whole) + " " + what;
}

}  // namespace

Delivery::Delivery(loop::Loop& loop, Application& application, const Options& options,
                   std::function<void(const std::string& failure)> onEnd)
    : loop_(loop),
      application_(application),
      options_(options),
      onEnd_(std::move(onEnd)),
      isShowingProgress_(isatty(STDERR_FILENO) == 1 && (options.isQuiet || isatty(STDOUT_FILENO) == 0)) {
  application_.startSending(makeSource(loop, options), options.pace);
  application_.onChange([this] { check(); });
  waitAnew();
  if (isShowingProgress_) {
    progress_ = loop_.after(kBeforeProgress, [this] { showProgress(); });
  }
}

Delivery::~Delivery() {
  application_.onChange([] {});
  loop_.cancel(patience_);
  loop_.cancel(progress_);
}

void Delivery::check() {
  const Tally& tally = application_.tally();
  if (application_.isSending() || tally.results() < tally.sent() || tally.received() < options_.expected) {
    waitAnew();
  } else if (tally.failed() != 0) {
    end(countOf(tally.failed(), tally.sent(), "messages were not delivered"));
  } else {
    end(tally.isBroken() ? "numbered messages are missing or came twice" : "");
  }
}

void Delivery::end(const std::string& failure) {
  if (!std::exchange(hasEnded_, true)) {
    clearProgress();
    onEnd_(failure);
  }
}

void Delivery::waitAnew() {
  loop_.cancel(patience_);
  patience_ = loop_.after(options_.patience, [this] {
    if (application_.isIdle()) {
      waitAnew();
    } else {
      end("nothing has happened for " + text::toText(options_.patience) + ": " + whatIsMissing());
    }
  });
}

std::string Delivery::whatIsMissing() const {
  const Tally& tally = application_.tally();
  if (application_.isSending() && !application_.isOpen()) {
    return application_.hasPhone() ? "the phone has not opened the app" : "no phone is connected";
  }
  std::string results = countOf(tally.results(), tally.sent(), "send results have come");
  if (application_.isRefused()) {
    return "the library refuses the next message; " + results;
  }
  if (tally.results() < tally.sent()) {
    return results;
  }
  return countOf(tally.received(), options_.expected, "expected messages have come");
}

void Delivery::showProgress() {
  const Tally& tally = application_.tally();
  const std::string waiting = application_.isOpen()     ? ""
                              : application_.hasPhone() ? ", waiting for the app"
                                                        : ", waiting for a phone";
  fprintf(stderr, "\r\033[K%llu sent, %llu delivered, %llu received%s", static_cast<unsigned long long>(tally.sent()),
          static_cast<unsigned long long>(tally.results() - tally.failed()),
          static_cast<unsigned long long>(tally.received()), waiting.c_str());
  progress_ = loop_.after(kBetweenProgress, [this] { showProgress(); });
}

void Delivery::clearProgress() const {
  if (isShowingProgress_) {
    fputs("\r\033[K", stderr);
  }
}

}  // namespace app
