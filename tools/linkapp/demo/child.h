// A process of the demo: started from this program's own file as a rule, told what to do by lines, heard by lines.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace demo {

class Child {
 public:
  Child(const std::string& name, const std::vector<std::string>& arguments,
        const std::string& program = "/proc/self/exe");
  // Ends it, if need be by force: nothing stays running.
  ~Child();
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  const std::string& name() const { return name_; }
  int outputFd() const { return output_; }

  void tell(const std::string& command) const;

  // The lines that have come since the last call; reads what is there without waiting. False at the end of its output.
  bool readLines(std::vector<std::string>& lines);

  // Tells it to end, waits for that and adds its last lines. How it ended, in words; empty where all went well.
  std::string end(std::vector<std::string>& lines);

 private:
  void reap();

  const std::string name_;
  pid_t pid_ = -1;
  int input_ = -1;
  int output_ = -1;
  int status_ = 0;
  std::string partial_;
};

}  // namespace demo
