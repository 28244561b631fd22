#include "report/render.hpp"

#include <algorithm>
#include <ostream>

#include <tessik/agent_loader/findings/detail/category.hpp>
#include <tessik/foundation/text.hpp>

namespace tessik::cli {
namespace {

template <class T>
Value optional_value(const std::optional<T>& v) {
  return v ? Value(*v) : Value();
}

}  // namespace

Value definition_value(const AgentDefinition& def) {
  return Value::Mapping{
      {"name", def.name},
      {"display_name", def.display_name},
      {"role", def.role},
      {"system_prompt", def.system_prompt},
      {"focus_areas", def.focus_areas},
      {"trigger_patterns", def.trigger_patterns},
      {"expertise", def.expertise},
      {"severity_default", def.severity_default},
      {"enabled", def.enabled},
      {"version", def.version},
      {"max_tool_iterations", def.max_tool_iterations},
  };
}

Value finding_value(const AIReview& f) {
  Value replacement;
  if (f.code_replacement) {
    replacement = Value::Sequence(f.code_replacement->begin(), f.code_replacement->end());
  }
  return Value::Mapping{
      {"file_path", f.file_path},
      {"line_number", f.line_number},
      {"severity", f.severity},
      {"issue", f.issue},
      {"suggestion", f.suggestion},
      {"confidence", f.confidence},
      {"category", f.category},
      {"agent_name", f.agent_name},
      {"code_replacement", std::move(replacement)},
      {"replacement_line_count", f.replacement_line_count},
      {"language", f.language},
  };
}

Value verdict_value(const AgentVerdict& v) {
  Value::Mapping out{{"status", v.status()}};
  if (v.is_findings()) {
    Value::Sequence findings;
    for (const AIReview& f : v) findings.push_back(finding_value(f));
    out.set("findings", std::move(findings));
    out.set("summary", optional_value(v.summary()));
  } else if (v.is_clean()) {
    out.set("summary", optional_value(v.summary()));
    out.set("confidence", optional_value(v.confidence()));
  } else {
    out.set("error_code", optional_value(v.error_code()));
    out.set("error_message", optional_value(v.error_message()));
    out.set("iterations_used", optional_value(v.iterations_used()));
  }
  return out;
}

std::string agent_category(std::string_view agent_name) {
  // An empty category is what a finding without one carries; normalising it
  // yields the agent's own category.
  return detail::normalise_category("", agent_name);
}

std::string one_line(const Value& v) {
  std::string s = text_form(v);
  std::replace(s.begin(), s.end(), '\n', ' ');
  return s;
}

std::string line_safe(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (const char c : text) {
    if (c == '\r') {
      out += "\\r";
    } else if (c == '\n') {
      out += "\\n";
    } else {
      out += c;
    }
  }
  return out;
}

void print_table(std::ostream& os, const std::vector<std::vector<std::string>>& rows,
                 std::string_view indent) {
  std::vector<std::size_t> widths;
  for (const auto& row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (std::size_t i = 0; i < row.size(); ++i) {
      widths[i] = std::max(widths[i], code_point_count(row[i]));
    }
  }
  for (const auto& row : rows) {
    std::string line(indent);
    for (std::size_t i = 0; i < row.size(); ++i) {
      line += row[i];
      if (i + 1 < row.size()) line += std::string(widths[i] - code_point_count(row[i]) + 2, ' ');
    }
    os << line << '\n';
  }
}

}  // namespace tessik::cli
