// tessik-agents: lists, shows and validates reviewer agents, prints the
// requests they would send and replays recorded reviews. See cli.hpp.
#include <iostream>
#include <string>
#include <vector>

#include "cli/cli.hpp"

int main(int argc, char** argv) {
  const std::vector<std::string> args(argv + 1, argv + argc);
  return tessik::cli::run_cli(args, {std::cin, std::cout, std::cerr});
}
