#include "tests/abi/singletons_user.h"

#include <dlfcn.h>
#include <stdio.h>

#include <map>

using test_support::say;

namespace {

const std::map<std::string, int> kLoaderFlags = {
    {"local", RTLD_LOCAL}, {"global", RTLD_GLOBAL}, {"deepbind", RTLD_LOCAL | RTLD_DEEPBIND}};

// Never unloaded: its code may be asked again at exit. Null, with a line, where it cannot be loaded.
LookAtSingletons load(const std::string& party) {
  const std::size_t colon = party.find(':');
  const int flags = kLoaderFlags.at(party.substr(0, colon));
  void* const plugin = dlopen(party.substr(colon + 1).c_str(), RTLD_NOW | flags);
  void* const function = plugin != nullptr ? dlsym(plugin, kPluginFunction) : nullptr;
  if (function == nullptr) {
    fprintf(stderr, "%s\n", dlerror());
  }
  return reinterpret_cast<LookAtSingletons>(function);
}

std::string verdict(std::size_t singleton, const std::vector<Singletons>& looks) {
  const void* const instance = looks.front().got[singleton];
  for (std::size_t i = 0; i < looks.size(); ++i) {
    if (looks[i].got[singleton] != instance) {
      return " is another one for party " + std::to_string(i);
    }
    if (i > 0 && looks[i].peeked[singleton] != instance) {
      return " cannot be seen by party " + std::to_string(i);
    }
  }
  return instance != nullptr ? " is one" : " is none";
}

}  // namespace

int compareSingletons(const Parties& parties, LookAtSingletons program) {
  std::vector<Singletons> looks;
  for (const std::string& party : parties) {
    const LookAtSingletons look = party == "program" ? program : load(party);
    if (look == nullptr) {
      return 1;
    }
    look(&looks.emplace_back());
  }
  for (std::size_t i = 0; i < kSingletonCount; ++i) {
    say(kSingletonNames[i] + verdict(i, looks));
  }
  return 0;
}
