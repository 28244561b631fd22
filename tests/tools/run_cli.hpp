// Runs the command-line tool through its entry point and keeps what it
// wrote, or as a child process (the built binary) for what only a process
// shows: signals and exit statuses; and a throw-away git repository to run
// it in.
#ifndef TESSIK_TESTS_TOOLS_RUN_CLI_HPP_
#define TESSIK_TESTS_TOOLS_RUN_CLI_HPP_

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <stdio.h>
#include <sys/wait.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "cli/cli.hpp"
#include "temp_dir.hpp"

namespace tessik::testing {

struct Outcome {
  int status;
  std::string out, err;
};

// `input` is the tool's standard input.
inline Outcome run(const std::vector<std::string>& args, const std::string& input = "") {
  std::istringstream in(input);
  std::ostringstream out, err;
  const int status = cli::run_cli(args, {in, out, err});
  return {status, out.str(), err.str()};
}

// The blank-separated words of `text`, then `more`: a command line written
// as one text, with the arguments that hold blanks or computed values after.
inline std::vector<std::string> words(const std::string& text,
                                      std::initializer_list<std::string> more = {}) {
  std::vector<std::string> out;
  std::istringstream in(text);
  for (std::string word; in >> word;) out.push_back(word);
  out.insert(out.end(), more);
  return out;
}

// Fails the test for each of `parts` missing from `text`.
inline void expect_contains(const std::string& text, std::initializer_list<std::string> parts) {
  for (const std::string& part : parts) {
    EXPECT_NE(text.find(part), std::string::npos) << "missing: " << part << "\nin:\n" << text;
  }
}

// Starts `args` (the program first, found on PATH when it has no slash)
// with its standard output and error written to `out` and `err`, SIGINT and
// SIGTERM at their default action. Returns the child's pid.
inline pid_t spawn(const std::vector<std::string>& args, const std::filesystem::path& out,
                   const std::filesystem::path& err) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 1, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  posix_spawn_file_actions_addopen(&actions, 2, err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  posix_spawnattr_t attr;
  posix_spawnattr_init(&attr);
  sigset_t signals;
  sigemptyset(&signals);
  posix_spawnattr_setsigmask(&attr, &signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  posix_spawnattr_setsigdefault(&attr, &signals);
  posix_spawnattr_setflags(&attr, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  std::vector<std::string> copy = args;
  std::vector<char*> argv;
  for (std::string& a : copy) argv.push_back(a.data());
  argv.push_back(nullptr);
  pid_t pid = -1;
  const int rc = posix_spawnp(&pid, argv[0], &actions, &attr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  posix_spawnattr_destroy(&attr);
  if (rc != 0) throw std::runtime_error("could not start " + args.front());
  return pid;
}

// The exit status of child `pid` (128 + N when signal N ended it), or
// nullopt when it is still running after `limit`: it is then killed.
inline std::optional<int> wait_for_exit(pid_t pid, std::chrono::milliseconds limit) {
  const auto end = std::chrono::steady_clock::now() + limit;
  int status = 0;
  while (::waitpid(pid, &status, WNOHANG) == 0) {
    if (std::chrono::steady_clock::now() > end) {
      ::kill(pid, SIGKILL);
      ::waitpid(pid, &status, 0);
      return std::nullopt;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

inline std::string read_text(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// A git repository for one test, driven by the `git` command.
class GitRepo : public TempDir {
 public:
  GitRepo() { git("init -q -b main"); }

  // Runs `git <args>` in the repository and returns its standard output;
  // throws when git fails. Commits carry a fixed author.
  std::string git(const std::string& args) const {
    const std::string command = "git -C '" + path().string() +
                                "' -c user.name=Test -c user.email=test@example.com "
                                "-c core.autocrlf=false -c commit.gpgsign=false " +
                                args + " 2>&1";
    FILE* pipe = ::popen(command.c_str(), "r");
    if (pipe == nullptr) throw std::runtime_error("cannot run git");
    std::string out;
    std::array<char, 4096> buffer{};
    std::size_t n = 0;
    while ((n = ::fread(buffer.data(), 1, buffer.size(), pipe)) > 0) out.append(buffer.data(), n);
    if (::pclose(pipe) != 0) throw std::runtime_error("git " + args + " failed:\n" + out);
    return out;
  }

  // Stages everything (ignored files stay out) and commits.
  void commit(const std::string& message) const {
    git("add -A");
    git("commit -q --allow-empty -m '" + message + "'");
  }
};

}  // namespace tessik::testing

#endif  // TESSIK_TESTS_TOOLS_RUN_CLI_HPP_
