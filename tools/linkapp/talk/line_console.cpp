#include "talk/line_console.h"

#include <errno.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <utility>

#include "text/terminal.h"

namespace talk {
namespace {

constexpr std::size_t kLongestLine = std::size_t{64} * 1024;

// help texts and lists are shown as they are read best.
std::string readable(const text::Fields& fields) {
  std::string all;
  for (const text::Field& field : fields) {
    if (field.name == "help") {
      return std::get<std::string>(field.value.get());
    }
    if (const text::List* const list = field.value.list()) {
      for (const text::Fields& entry : *list) {
        all += text::toText(entry) + "\n";
      }
      all += list->empty() ? "none\n" : "";
    }
  }
  return all.empty() && !fields.empty() ? text::toText(fields) + "\n" : all;
}

}  // namespace

LineConsole::LineConsole(loop::Loop& loop, Hub& hub, const Options& options, Obey obey)
    : loop_(loop),
      hub_(hub),
      options_(options),
      obey_(std::move(obey)),
      isColoured_(!options.isJson && text::isColoured(STDOUT_FILENO)),
      hubId_(hub.add([this](const Event& event) { show(event); })),
      lines_(kLongestLine) {}

LineConsole::~LineConsole() {
  hub_.remove(hubId_);
  if (input_ != -1) {
    loop_.forget(input_);
  }
}

void LineConsole::listen(int input, std::function<void()> onEnd) {
  input_ = input;
  onEnd_ = std::move(onEnd);
  if (options_.isJson || isatty(input) == 0 || isatty(STDOUT_FILENO) == 0) {
    loop_.watch(input, POLLIN, [this, input](short) { receive(input); });
    return;
  }
  editor_ = std::make_unique<LineEditor>(options_.prompt, historyFileFor(options_.process), options_.complete);
  loop_.watch(input, POLLIN, [this](short events) { receiveTyped(events); });
}

void LineConsole::receive(int input) {
  char buffer[4096];
  const ssize_t count = read(input, buffer, sizeof buffer);
  const auto takeLine = [this](const std::string& line) {
    take(line);
    return true;
  };
  if (count > 0) {
    for (bool isGood = lines_.add(buffer, static_cast<std::size_t>(count), takeLine); !isGood;
         isGood = lines_.go(takeLine)) {
      show(command::Reply::refused("a line is longer than " + std::to_string(kLongestLine) + " bytes"), "");
    }
    return;
  }
  if (count == 0 || (errno != EINTR && errno != EAGAIN)) {
    const std::string last = lines_.takePartial();
    if (!last.empty()) {
      take(last);
    }
    finish();
  }
}

void LineConsole::receiveTyped(short events) {
  std::string line;
  const LineEditor::Input typed = (events & POLLIN) != 0 ? editor_->read(line) : LineEditor::Input::kEnd;
  if (typed == LineEditor::Input::kLine) {
    take(line);
    editor_->resume();
  } else if (typed == LineEditor::Input::kEnd) {
    finish();
  }
}

void LineConsole::finish() {
  loop_.forget(input_);
  input_ = -1;
  onEnd_();
}

bool LineConsole::take(const std::string& line) {
  std::vector<command::Word> words;
  std::size_t end = 0;
  command::Mistake mistake;
  if (!command::splitWords(line, words, end, mistake)) {
    command::Reply reply = command::Reply::refused(mistake.text);
    reply.column = mistake.column;
    show(reply, "");
    return false;
  }
  if (words.empty()) {
    return true;
  }
  const command::Reply reply = obey_(words, end);
  if (reply.isOk && words[0].text == "events" && words.size() > 1) {
    isShowingEvents_ = words[1].text == "on";
  }
  show(reply, words[0].text);
  return reply.isOk;
}

void LineConsole::show(const Event& event) {
  if (!isShowingEvents_) {
    return;
  }
  if (options_.isJson) {
    print(toJsonLine(event));
    return;
  }
  char time[32];
  snprintf(time, sizeof time, "%9.3f  ", secondsNow());
  std::string name = event.name;
  name.resize(std::max<std::size_t>(name.size(), 20), ' ');
  print(time + (isColoured_ ? "\033[36m" + name + "\033[0m" : name) + "  " + text::toText(event.fields));
}

void LineConsole::show(const command::Reply& reply, const std::string& command) {
  if (options_.isJson) {
    print(toJsonLine(command, reply));
  } else if (!reply.isOk) {
    const std::string place = reply.column == 0 ? "" : "column " + std::to_string(reply.column) + ": ";
    print((isColoured_ ? "\033[31merror\033[0m: " : "error: ") + place + reply.error);
  } else {
    std::string text = readable(reply.fields);
    if (!text.empty()) {
      text.pop_back();
      print(text);
    }
  }
}

void LineConsole::print(const std::string& line) {
  if (editor_ != nullptr) {
    editor_->hide();
  }
  fputs((line + "\n").c_str(), stdout);
  fflush(stdout);
  if (editor_ != nullptr) {
    editor_->show();
  }
}

}  // namespace talk
