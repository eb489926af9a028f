// Obeys an application's commands. Prompt, scenario and control socket all end here.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "app/application.h"
#include "command/command.h"

namespace app {

class Console {
 public:
  // `quit` is called for the command of that name.
  Console(Application& application, std::function<void()> quit);

  // "events" is left to whoever shows them: here it does nothing.
  command::Reply obey(const std::vector<command::Word>& words, std::size_t end);

  // For completion: numbers of the phones ("device"), commands ("command").
  std::vector<std::string> names(const std::string& source) const;

 private:
  using Handler = std::function<command::Reply(const command::Call& call)>;

  void addMessageHandlers();
  void addSppHandlers();
  void addListenerHandlers();
  void addViewHandlers();
  command::Reply sendFrom(std::unique_ptr<Source> source, const command::Call& call);
  command::Reply requestSpp(Application::SppRequest request, const command::Call& call);
  // The one that the call names, else the one of its type that was told last.
  unsigned char deviceOf(const command::Call& call, bool isIos) const;

  Application& application_;
  const std::function<void()> quit_;
  std::map<std::string, Handler> handlers_;
};

}  // namespace app
