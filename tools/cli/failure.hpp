// How the tool names a failure it reports: the one place that turns an
// exception into the (kind, message) pair: commands print the message, and
// machine-readable reports carry the kind.
//
//   try { ... } catch (...) { Failure f = current_failure(); }
#ifndef TESSIK_TOOLS_CLI_FAILURE_HPP_
#define TESSIK_TOOLS_CLI_FAILURE_HPP_

#include <string>

namespace tessik::cli {

struct Failure {
  std::string kind;       // the failure class name ("ValueError"), "Error" for any other
  std::string message;    // what() of the exception
  std::string call_site;  // where a client call failed; empty otherwise
  long status = 0;        // the HTTP status of a model server's refusal; 0 otherwise
};

// The failure being handled. Call only inside a catch block; never throws.
Failure current_failure() noexcept;

}  // namespace tessik::cli

#endif  // TESSIK_TOOLS_CLI_FAILURE_HPP_
