#include "report/sarif_log.hpp"

#include <filesystem>

namespace tessik::cli {
namespace {

std::string percent_encoded(std::string_view path) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string out;
  for (const char c : path) {
    const auto byte = static_cast<unsigned char>(c);
    const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                       c == '-' || c == '.' || c == '_' || c == '~' || c == '/';
    if (plain) {
      out += c;
    } else {
      out += '%';
      out += kHex[byte >> 4];
      out += kHex[byte & 0xF];
    }
  }
  return out;
}

bool climbs_out(const std::filesystem::path& p) { return !p.empty() && *p.begin() == ".."; }

}  // namespace

std::string artifact_uri(std::string_view path) {
  namespace fs = std::filesystem;
  fs::path p = fs::path(path).lexically_normal();
  if (p.is_relative() && !climbs_out(p)) {
    std::string text = p.generic_string();
    if (text.ends_with('/')) text.pop_back();
    return percent_encoded(text.empty() ? "." : text);
  }
  if (p.is_relative()) {
    std::error_code ec;
    const fs::path cwd = fs::current_path(ec);
    p = ((ec ? fs::path("/") : cwd) / p).lexically_normal();
  }
  return "file://" + percent_encoded(p.generic_string());
}

std::string sarif_text(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '{' || c == '}') {
      out += c;
      out += c;
    } else if (c == '[' || c == ']') {
      out += '\\';
      out += c;
    } else if (c == '\\' && i + 1 < text.size() && (text[i + 1] == '[' || text[i + 1] == ']')) {
      out += "\\\\";
    } else {
      out += c;
    }
  }
  return out;
}

Value sarif_message(std::string_view text) { return Value::Mapping{{"text", sarif_text(text)}}; }

Value sarif_location(std::string_view path, const SarifRegion& region) {
  const std::int64_t start = std::max<std::int64_t>(region.start_line, 1);
  Value::Mapping r{{"startLine", start}};
  if (region.end_line > start) r.set("endLine", region.end_line);
  if (region.start_column > 0) r.set("startColumn", region.start_column);
  return Value::Mapping{
      {"physicalLocation",
       Value::Mapping{{"artifactLocation", Value::Mapping{{"uri", artifact_uri(path)}}},
                      {"region", std::move(r)}}}};
}

Value sarif_log(Value::Sequence rules, Value::Sequence results) {
  Value::Mapping run{
      {"tool", Value::Mapping{{"driver", Value::Mapping{{"name", "tessik-agents"},
                                                        {"version", TESSIK_VERSION},
                                                        {"rules", std::move(rules)}}}}},
      {"columnKind", "unicodeCodePoints"}};
  if (results.size() > kSarifMaxResults) {
    const auto omitted = static_cast<std::int64_t>(results.size() - kSarifMaxResults);
    results.resize(kSarifMaxResults);
    run.set("properties", Value::Mapping{{"omittedResults", omitted}});
  }
  run.set("results", std::move(results));
  return Value::Mapping{
      {"$schema", "https://json.schemastore.org/sarif-2.1.0.json"},
      {"version", "2.1.0"},
      {"runs", Value::Sequence{std::move(run)}},
  };
}

}  // namespace tessik::cli
