// The entry point of tessik-agents, callable without a process:
//
//   std::vector<std::string> args{"validate", "agents/custom.md"};
//   int status = tessik::cli::run_cli(args, {std::cin, std::cout, std::cerr});
//
// `tessik-agents --version` prints "tessik-agents " and the project version.
//
// Exit statuses: 0 success; 1 a checked file is invalid, an input cannot be
// read, or a review yields an error verdict; 2 a usage error (unknown
// command or option, missing argument); 128 + N a review stopped by signal
// N (130 SIGINT, 143 SIGTERM).
#ifndef TESSIK_TOOLS_CLI_CLI_HPP_
#define TESSIK_TOOLS_CLI_CLI_HPP_

#include <iosfwd>
#include <span>
#include <string>

namespace tessik::cli {

inline constexpr int EXIT_OK = 0;
inline constexpr int EXIT_FAILED = 1;
inline constexpr int EXIT_USAGE = 2;

// The streams a command reads and writes; standard input serves "--diff -".
struct Io {
  std::istream& in;
  std::ostream& out;
  std::ostream& err;
};

// Runs one command line, `args` being the words after the program name.
// Never throws for a failure of the command: it is reported on `io.err` and
// turned into the exit status.
int run_cli(std::span<const std::string> args, const Io& io);

}  // namespace tessik::cli

#endif  // TESSIK_TOOLS_CLI_CLI_HPP_
