#include "cli/complete.h"

#include <algorithm>

#include "app/setup.h"
#include "cli/command_line.h"
#include "monitor/filter.h"

namespace cli {
namespace {

const Manual* find(const std::vector<const Manual*>& manuals, const std::string& name) {
  const auto found =
      std::find_if(manuals.begin(), manuals.end(), [&](const Manual* manual) { return manual->name == name; });
  return found == manuals.end() ? nullptr : *found;
}

std::vector<std::string> namesOf(const std::vector<const Manual*>& manuals) {
  std::vector<std::string> names;
  names.reserve(manuals.size());
  for (const Manual* const manual : manuals) {
    names.push_back(manual->name);
  }
  return names;
}

const CLI::Option* optionOf(const CLI::App& app, const std::string& word) {
  for (const CLI::Option* const option : app.get_options()) {
    if (word.size() > 1 && word[0] == '-' && option->check_name(word)) {
      return option;
    }
  }
  return nullptr;
}

// Those of a list "a,b" go on behind the last comma.
std::vector<std::string> listValues(const std::vector<std::string>& values, const std::string& typed) {
  const std::string before = typed.substr(0, typed.find_last_of(',') + 1);
  std::vector<std::string> all;
  all.reserve(values.size());
  for (const std::string& value : values) {
    all.push_back(before + value);
  }
  return all;
}

std::vector<std::string> valuesOf(const Manual& manual, const std::string& option, const std::string& typed) {
  if (option == "listen") {
    return listValues(app::partNames(), typed);
  }
  if (option == "kind") {
    return monitor::kindNames();
  }
  return option == "do" && manual.commands != nullptr ? manual.commands->names() : std::vector<std::string>();
}

std::vector<std::string> candidates(const std::vector<const Manual*>& manuals, const std::vector<std::string>& words) {
  const std::string& last = words.back();
  if (words.size() == 1) {
    std::vector<std::string> names = namesOf(manuals);
    names.insert(names.end(), {"--help", "--version"});
    return names;
  }
  if (words[0] == "man") {
    return words.size() == 2 ? namesOf(manuals) : std::vector<std::string>();
  }
  if (words[0] == "completion") {
    return words.size() == 2 ? shells() : std::vector<std::string>();
  }
  const Manual* const manual = find(manuals, words[0]);
  if (manual == nullptr) {
    return {};
  }
  CLI::App app;
  manual->describe(app);
  addCommonOptions(app);
  const CLI::Option* const before = optionOf(app, words[words.size() - 2]);
  if (words.size() > 2 && before != nullptr && before->get_items_expected_max() != 0) {
    return valuesOf(*manual, before->get_lnames().front(), last);
  }
  const auto options = app.get_options();
  const bool takesFiles =
      std::any_of(options.begin(), options.end(), [](const CLI::Option* option) { return option->get_positional(); });
  return last.empty() && takesFiles ? std::vector<std::string>() : optionNames(app);
}

constexpr const char* kBash =
    R"sh(# linkapp completion bash: to be read by bash, or put into share/bash-completion/completions/linkapp
_linkapp() {
  local IFS=$'\n'
  COMPREPLY=($("${COMP_WORDS[0]}" --complete "${COMP_WORDS[@]:1:COMP_CWORD}" 2>/dev/null))
}
complete -o bashdefault -o default -F _linkapp linkapp
)sh";

constexpr const char* kZsh = R"sh(#compdef linkapp
# linkapp completion zsh: to be put into a folder of $fpath as _linkapp
_linkapp() {
  local -a candidates
  candidates=(${(f)"$(${words[1]} --complete "${(@)words[2,CURRENT]}" 2>/dev/null)"})
  if (( ${#candidates} )); then compadd -a candidates; else _files; fi
}
if [ "$funcstack[1]" = _linkapp ]; then _linkapp "$@"; else compdef _linkapp linkapp; fi
)sh";

constexpr const char* kFish =
    R"sh(# linkapp completion fish: to be put into share/fish/vendor_completions.d/linkapp.fish
complete -c linkapp -a '(set -l words (commandline -opc) (commandline -ct); $words[1] --complete $words[2..-1] 2>/dev/null)'
)sh";

}  // namespace

std::vector<std::string> complete(const std::vector<const Manual*>& manuals, const std::vector<std::string>& words) {
  if (words.empty()) {
    return {};
  }
  std::vector<std::string> all = candidates(manuals, words);
  const std::string& last = words.back();
  all.erase(std::remove_if(all.begin(), all.end(),
                           [&](const std::string& word) { return word.compare(0, last.size(), last) != 0; }),
            all.end());
  return all;
}

std::string completionScript(const std::string& shell) {
  return shell == "bash" ? kBash : shell == "zsh" ? kZsh : shell == "fish" ? kFish : "";
}

const std::vector<std::string>& shells() {
  static const auto* const all = new std::vector<std::string>{"bash", "zsh", "fish"};
  return *all;
}

}  // namespace cli
