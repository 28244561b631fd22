#include "report/output_format.hpp"

#include <algorithm>

#include "cli/cli_args.hpp"

namespace tessik::cli {

std::string_view format_name(OutputFormat format) noexcept {
  switch (format) {
    case OutputFormat::text:
      return "text";
    case OutputFormat::json:
      return "json";
    case OutputFormat::markdown:
      return "markdown";
    case OutputFormat::github:
      return "github";
    case OutputFormat::sarif:
      return "sarif";
    case OutputFormat::rdjson:
      return "rdjson";
  }
  return "text";
}

OutputFormat output_format(const std::optional<std::string>& format, bool json_flag,
                           std::initializer_list<OutputFormat> allowed) {
  if (json_flag) {
    if (format && *format != "json") throw UsageError("--json is --format json; give only one");
    return OutputFormat::json;
  }
  const std::string_view wanted = format ? std::string_view(*format) : "text";
  const auto it = std::find_if(allowed.begin(), allowed.end(),
                               [&](OutputFormat f) { return format_name(f) == wanted; });
  if (it != allowed.end()) return *it;
  std::string names;
  for (std::size_t i = 0; i < allowed.size(); ++i) {
    names += std::string(i == 0                    ? ""
                         : i + 1 == allowed.size() ? " or "
                                                   : ", ") +
             std::string(format_name(allowed.begin()[i]));
  }
  throw UsageError("--format must be " + names + ", not '" + std::string(wanted) + "'");
}

}  // namespace tessik::cli
