#include "lint/refusal.hpp"

#include <tessik/foundation/errors.hpp>

namespace tessik::lint {
namespace {

// The fixed texts of the loaders tell these refusals apart.
const char* code_of(const std::exception& failure) {
  const std::string_view message = failure.what();
  if (dynamic_cast<const FileSystemError*>(&failure) != nullptr) return "E101";
  if (dynamic_cast<const UnicodeDecodeError*>(&failure) != nullptr) return "E102";
  if (dynamic_cast<const YamlError*>(&failure) != nullptr) return "E103";
  if (message.starts_with("No YAML front-matter found in ")) return "E104";
  if (message.starts_with("Agent definition missing required 'name' field in ")) return "E105";
  if (message.starts_with("No parser for agent definition file: ")) return "E107";
  if (message.starts_with("cannot read ")) return "E101";  // a file over the size limit
  return "E106";
}

}  // namespace

Diagnostic refusal(const std::string& file, const std::exception& failure) {
  Diagnostic d{.file = file,
               .at = {},
               .severity = Severity::error,
               .message = failure.what(),
               .code = code_of(failure)};
  if (const auto* error = dynamic_cast<const Error*>(&failure)) d.at = error->position();
  return d;
}

}  // namespace tessik::lint
