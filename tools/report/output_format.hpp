// The --format option of `validate` and `review` (and --json, its short
// form for JSON).
#ifndef TESSIK_TOOLS_REPORT_OUTPUT_FORMAT_HPP_
#define TESSIK_TOOLS_REPORT_OUTPUT_FORMAT_HPP_

#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

namespace tessik::cli {

enum class OutputFormat { text, json, markdown, github, sarif, rdjson };

std::string_view format_name(OutputFormat format) noexcept;

// The format `format` names (text when absent), or json with `json_flag`.
// Throws UsageError when both name different formats or when the format is
// not one of `allowed` (the message lists them).
OutputFormat output_format(const std::optional<std::string>& format, bool json_flag,
                           std::initializer_list<OutputFormat> allowed);

}  // namespace tessik::cli

#endif  // TESSIK_TOOLS_REPORT_OUTPUT_FORMAT_HPP_
