#include "RunProgram.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstring>
#include <thread>

namespace {

std::string ReadToEnd(int descriptor) {
  std::string text;
  std::array<char, 4096> part{};
  ssize_t got = 0;
  while ((got = read(descriptor, part.data(), part.size())) > 0) {
    text.append(part.data(), static_cast<std::size_t>(got));
  }
  (void)close(descriptor);
  return text;
}

}  // namespace

ProgramResult RunProgram(const std::vector<std::string>& arguments) {
  std::array<int, 2> output{};
  std::array<int, 2> error{};
  EXPECT_EQ(pipe2(output.data(), O_CLOEXEC), 0);
  EXPECT_EQ(pipe2(error.data(), O_CLOEXEC), 0);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, error[1], STDERR_FILENO);
  std::vector<char*> argv;
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  pid_t child = -1;
  const int spawned = posix_spawnp(&child, argv[0], &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  (void)close(output[1]);
  (void)close(error[1]);

  ProgramResult result;
  if (spawned != 0) {
    ADD_FAILURE() << "cannot run " << arguments[0] << ": " << std::strerror(spawned);
    (void)close(output[0]);
    (void)close(error[0]);
    return result;
  }
  std::thread outputReader([&] { result.standardOutput = ReadToEnd(output[0]); });
  std::thread errorReader([&] { result.standardError = ReadToEnd(error[0]); });

  const int handle = static_cast<int>(syscall(SYS_pidfd_open, child, 0));
  pollfd waiting{handle, POLLIN, 0};
  constexpr int oneMinuteInMilliseconds = 60000;
  if (poll(&waiting, 1, oneMinuteInMilliseconds) == 0) {
    result.timedOut = true;
    (void)kill(child, SIGKILL);
  }
  (void)close(handle);
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  outputReader.join();
  errorReader.join();
  if (WIFEXITED(status)) result.exitCode = WEXITSTATUS(status);
  if (WIFSIGNALED(status)) result.signal = WTERMSIG(status);
  return result;
}

std::vector<std::string> Unprivileged(std::vector<std::string> arguments) {
  if (geteuid() != 0) return arguments;
  const std::string user = std::to_string(userWithoutRights);
  std::vector<std::string> full = {"setpriv", "--reuid=" + user, "--regid=" + user,
                                   "--clear-groups"};
  full.insert(full.end(), arguments.begin(), arguments.end());
  return full;
}
