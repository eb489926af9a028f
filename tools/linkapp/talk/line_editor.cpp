#include "talk/line_editor.h"

#include <histedit.h>
#include <locale.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <wchar.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <utility>

#include "command/words.h"
#include "text/fields.h"

namespace talk {
namespace {

constexpr int kHistoryLines = 1000;
constexpr char kEndOfInput = 4;  // what libedit puts into an empty line for Ctrl-D

// What all of them begin with.
std::string commonBeginning(const std::vector<std::string>& words) {
  std::string common = words.front();
  for (const std::string& word : words) {
    const auto end = std::mismatch(common.begin(), common.end(), word.begin(), word.end());
    common.erase(end.first, common.end());
  }
  return common;
}

// The beginning of the word that is being typed.
std::string lastWord(const std::string& line) {
  std::vector<command::Word> words;
  std::size_t end = 0;
  command::Mistake mistake;
  if (line.empty() || line.back() == ' ' || !command::splitWords(line, words, end, mistake) || words.empty()) {
    return "";
  }
  return words.back().text;
}

std::size_t terminalColumns() {
  struct winsize size = {};
  return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col != 0 ? size.ws_col : 80;
}

}  // namespace

struct LineEditor::State {
  std::string prompt;
  std::string historyFile;
  Complete complete;
  EditLine* editor = nullptr;
  History* history = nullptr;
  bool isActive = false;

  static State& of(EditLine* editor) {
    void* state = nullptr;
    el_get(editor, EL_CLIENTDATA, &state);
    return *static_cast<State*>(state);
  }
  static char* promptOf(EditLine* editor) { return of(editor).prompt.data(); }
  static unsigned char completeLine(EditLine* editor, wint_t) { return of(editor).completeAtCursor(); }

  unsigned char completeAtCursor() const;
  void list(const std::vector<std::string>& words) const;
};

unsigned char LineEditor::State::completeAtCursor() const {
  const LineInfo* const info = el_line(editor);
  const std::string line(info->buffer, info->cursor);
  const std::vector<std::string> words = complete ? complete(line) : std::vector<std::string>();
  if (words.empty()) {
    return CC_REFRESH_BEEP;
  }
  const std::string common = commonBeginning(words);
  const std::size_t typed = lastWord(line).size();
  std::string more = common.size() > typed ? common.substr(typed) : "";
  if (words.size() == 1 && typed == 0) {
    more = text::quoted(common);
  }
  more += words.size() == 1 && common.back() != '/' ? " " : "";
  if (more.empty()) {
    list(words);
    return CC_REDISPLAY;
  }
  return el_insertstr(editor, more.c_str()) == 0 ? CC_REFRESH : CC_REFRESH_BEEP;
}

void LineEditor::State::list(const std::vector<std::string>& words) const {
  std::size_t width = 0;
  for (const std::string& word : words) {
    width = std::max(width, word.size() + 2);
  }
  const std::size_t perRow = std::max<std::size_t>(1, terminalColumns() / width);
  for (std::size_t i = 0; i < words.size(); ++i) {
    printf("%s%-*s", i % perRow == 0 ? "\n" : "", static_cast<int>(width), words[i].c_str());
  }
  printf("\n");
  fflush(stdout);
}

LineEditor::LineEditor(std::string prompt, std::string historyFile, Complete complete)
    : state_(new State{std::move(prompt), std::move(historyFile), std::move(complete)}) {
  setlocale(LC_CTYPE, "");  // libedit reads characters, not bytes
  State& state = *state_;
  state.editor = el_init("linkapp", stdin, stdout, stderr);
  if (state.editor == nullptr) {
    throw std::system_error(ENOMEM, std::generic_category(), "line editor");
  }
  el_set(state.editor, EL_CLIENTDATA, &state);
  el_set(state.editor, EL_PROMPT, &State::promptOf);
  el_set(state.editor, EL_EDITOR, "emacs");
  // The narrow form of this one leaks its texts.
  el_wset(state.editor, EL_ADDFN, L"linkapp-complete", L"completes the word", &State::completeLine);
  el_set(state.editor, EL_BIND, "\t", "linkapp-complete", nullptr);
  el_set(state.editor, EL_BIND, "^R", "em-inc-search-prev", nullptr);
  el_source(state.editor, nullptr);  // the user's own .editrc
  state.history = history_init();
  if (state.history != nullptr) {
    HistEvent event;
    history(state.history, &event, H_SETSIZE, kHistoryLines);
    history(state.history, &event, H_SETUNIQUE, 1);
    el_set(state.editor, EL_HIST, history, state.history);
    if (!state.historyFile.empty()) {
      history(state.history, &event, H_LOAD, state.historyFile.c_str());
    }
  }
  resume();
}

LineEditor::~LineEditor() {
  if (state_->isActive) {
    hide();
    el_set(state_->editor, EL_UNBUFFERED, 0);
  }
  if (state_->history != nullptr) {
    HistEvent event;
    if (!state_->historyFile.empty()) {
      history(state_->history, &event, H_SAVE, state_->historyFile.c_str());
    }
    history_end(state_->history);
  }
  el_end(state_->editor);
}

LineEditor::Input LineEditor::read(std::string& line) {
  int count = 0;
  const char* const text = el_gets(state_->editor, &count);
  if (text == nullptr || count <= 0) {
    return Input::kNothing;
  }
  const bool isEnd = count == 1 && text[0] == kEndOfInput;
  if (!isEnd && text[count - 1] != '\n') {
    return Input::kNothing;
  }
  line.assign(text, static_cast<std::size_t>(count - 1));
  HistEvent event;
  if (!isEnd && state_->history != nullptr && line.find_first_not_of(' ') != std::string::npos) {
    history(state_->history, &event, H_ENTER, line.c_str());
  }
  el_set(state_->editor, EL_UNBUFFERED, 0);
  state_->isActive = false;
  if (isEnd) {
    fputs("\n", stdout);
    fflush(stdout);
  }
  return isEnd ? Input::kEnd : Input::kLine;
}

void LineEditor::resume() {
  state_->isActive = true;
  el_set(state_->editor, EL_UNBUFFERED, 1);
}

// The cursor may stand in a later row than the prompt.
void LineEditor::hide() {
  if (!state_->isActive) {
    return;
  }
  const LineInfo* const info = el_line(state_->editor);
  const std::size_t before = state_->prompt.size() + command::countCharacters({info->buffer, info->cursor});
  const std::size_t rows = before / terminalColumns();
  printf("\r%s\033[J", rows == 0 ? "" : ("\033[" + std::to_string(rows) + "A").c_str());
}

void LineEditor::show() {
  if (state_->isActive) {
    fflush(stdout);
    el_set(state_->editor, EL_REFRESH);
  }
}

std::string historyFileFor(const std::string& process) {
  const char* const state = getenv("XDG_STATE_HOME");
  const char* const home = getenv("HOME");
  std::filesystem::path folder;
  if (state != nullptr && state[0] == '/') {
    folder = state;
  } else if (home != nullptr && home[0] == '/') {
    folder = std::filesystem::path(home) / ".local/state";
  } else {
    return "";
  }
  folder /= "linkapp";
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  return error ? "" : folder / (process + ".history");
}

}  // namespace talk
