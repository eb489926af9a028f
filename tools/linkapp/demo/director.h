// Runs the demo's story: starts the processes, tells them what to do and waits for what they report.
#pragma once

#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "demo/child.h"
#include "demo/line_channel.h"
#include "demo/report.h"
#include "demo/simulation.h"

namespace demo {

class Director {
 public:
  // `messages`: how many each application sends.
  Director(unsigned int messages, Simulation simulation, const Timeline& timeline);

  // A step that fails ends the story; the summary names it. Throws Interrupted after SIGINT and SIGTERM. All processes
  // have ended when the director is destroyed.
  Summary run();

 private:
  struct Process {
    std::unique_ptr<Child> child;
    std::deque<Report> unseen;  // reports that no step has waited for yet
  };

  void tellTheStory();
  void startEverybody();
  void connectAndLaunch();
  void exchange();
  void showSppPhone();
  void exchangeOverSpp();
  void showPlayingAppAndHandsFree();
  void disconnect();
  void sendOneMore();
  void endEverybody();

  void add(const std::string& name, const std::vector<std::string>& arguments);
  // Those that there are from the start of the story to its end.
  Process& device() { return processes_[0]; }
  Process& music() { return processes_[2]; }
  std::vector<Process*> apps() { return {&processes_[1], &music()}; }
  Process& sppPhone() { return *sppPhone_; }
  void startSppPhone();
  static void tell(const std::vector<Process*>& apps, const std::string& command);

  bool sendInRounds(const std::vector<Process*>& apps, unsigned int messages);
  std::vector<Exchange> collectTotals(const std::vector<Process*>& apps);

  std::string await(Process& process, const std::string& word, const std::string& part = "");
  bool takeUnseen(Process& process, const std::string& word, const std::string& part, std::string& text);
  std::vector<Process*> everybody();
  void listen();
  void hear(const std::vector<Process*>& speakers, std::vector<std::vector<std::string>>& lines);
  void problem(const std::string& text);

  const Simulation simulation_;
  const Timeline& timeline_;
  std::optional<Process> sppPhone_;  // none where Bluetooth cannot be simulated
  std::vector<Process> processes_;   // behind the phone, since it is to outlive them
  Summary summary_;
};

}  // namespace demo
