// Runs a program as a modder's shell would, for benchmarks that time whole commands.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

namespace vellmark::bench {

// Runs args[0] (searched in PATH when it has no '/') with the rest as its arguments and
// returns its exit status, or -1 when it did not exit normally.
inline int runProgram(std::vector<std::string> args) {
  std::vector<char*> argv;
  for (auto& a : args) argv.push_back(a.data());
  argv.push_back(nullptr);
  const pid_t pid = fork();
  if (pid == 0) {
    execvp(argv[0], argv.data());
    _exit(127);
  }
  int status = 0;
  waitpid(pid, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace vellmark::bench
