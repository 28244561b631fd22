#include <tessik/agent_loader/definitions/detail/guard_rails.hpp>

#include <cerrno>
#include <optional>
#include <system_error>

#include <tessik/agent_loader/definitions/detail/paths.hpp>
#include <tessik/foundation/detail/regex.hpp>
#include <tessik/foundation/errors.hpp>
#include <tessik/foundation/text.hpp>
#include <tessik/logging_channels.hpp>

namespace tessik::detail {
namespace {

constexpr std::string_view kSectionHeading = "## Anti-patterns";
constexpr std::string_view kBlockOpener = "<!--";
constexpr std::string_view kBlockCloser = "-->";

// The start of an agent's anti-pattern block, up to its header word. The
// whole block is "<!--\s*ANTI-PATTERNS.*?-->" (dot matching line feeds); its
// lazy tail is a plain search for the closer, see `find_agent_block`.
const Regex& block_opener_pattern() {
  static const Regex pattern("anti-pattern block", "<!--\\s*ANTI-PATTERNS");
  return pattern;
}

// A line that begins a top-level section of the document.
const Regex& next_top_section_pattern() {
  static const Regex pattern("next top-level section", "^## ", {.multi_line = true});
  return pattern;
}

// The header line of a block's content, removed with the line feeds after it.
const Regex& block_header_pattern() {
  static const Regex pattern("anti-pattern header", R"(^\s*ANTI-PATTERNS[-_A-Z]*\s*\n)",
                             {.anchored = true});
  return pattern;
}

struct Span {
  std::size_t begin;
  std::size_t end;
};

// The leftmost match of "<!--\s*ANTI-PATTERNS.*?-->" in `prompt`. The lazy
// tail ends at the first "-->" after the header word. If the leftmost opener
// has no such closer, no later opener can have one (its word ends later), so
// there is no block at all: one search for the closer replaces the engine's
// retry from every later opener, which would be quadratic in a prompt full
// of unclosed openers.
std::optional<Span> find_agent_block(std::string_view prompt) {
  const auto opener = block_opener_pattern().find(prompt);
  if (!opener) return std::nullopt;
  const std::size_t closer = prompt.find(kBlockCloser, opener->end());
  if (closer == std::string_view::npos) return std::nullopt;
  return Span{opener->begin(), closer + kBlockCloser.size()};
}

// The anti-pattern items of a block, opener, closer and header line removed.
std::string_view block_items(std::string_view block) {
  std::string_view content = strip(block);
  if (content.starts_with(kBlockOpener)) content.remove_prefix(kBlockOpener.size());
  if (content.ends_with(kBlockCloser)) content.remove_suffix(kBlockCloser.size());
  content = strip(content);
  // The header goes only when a line feed follows it; the first item keeps
  // its indentation, and the rest is not trimmed again.
  if (const auto header = block_header_pattern().find(content)) {
    content.remove_prefix(header->end());
  }
  return content;
}

// Whether the document exists, following links. Absence includes a dangling
// link, a link loop and a non-directory on the path; any other failure of
// the test itself is not absence and is thrown.
bool document_exists(const std::filesystem::path& path) {
  std::error_code ec;
  const std::filesystem::file_status status = std::filesystem::status(path, ec);
  if (status.type() == std::filesystem::file_type::not_found) return false;
  if (ec) {
    if (ec.value() == ELOOP) return false;
    throw FileSystemError(
        "Cannot check for the guard-rails document " + path_text(path) + ": " + ec.message(),
        ec.value());
  }
  return true;
}

// `document` with the block's items merged into its anti-patterns section.
std::string merge_items(std::string_view document, std::string_view items) {
  const std::size_t heading = document.find(kSectionHeading);
  if (heading == std::string_view::npos) {
    Log::agent.warning(
        "[tessik]     guard_rails.md missing '## Anti-patterns' section; appending per-agent "
        "block at end of guard-rails");
    std::string merged(document);
    merged += "\n\n## Anti-patterns\n\n";
    merged += items;
    return merged;
  }
  // The section ends where the next line that begins with "## " starts; line
  // starts before the end of the heading text are never considered.
  const std::size_t search_start = heading + kSectionHeading.size();
  const auto next = next_top_section_pattern().find(document, search_start);
  const std::size_t insert_at = next ? next->begin() : document.size();
  std::string merged;
  merged.reserve(document.size() + items.size() + 3);
  merged += document.substr(0, insert_at);
  merged += '\n';
  merged += items;
  merged += "\n\n";
  merged += document.substr(insert_at);
  return merged;
}

}  // namespace

std::string prepend_guard_rails(std::string_view system_prompt) {
  return prepend_guard_rails(system_prompt, shared_guard_rails_path());
}

std::string prepend_guard_rails(std::string_view system_prompt,
                                const std::filesystem::path& guard_rails_path) {
  if (system_prompt.find(GUARD_RAILS_SENTINEL) != std::string_view::npos) {
    return std::string(system_prompt);
  }
  if (!document_exists(guard_rails_path)) {
    Log::agent.warning(
        "[tessik]     guard_rails.md missing at %s — reviewer prompts will not include guard "
        "rails",
        path_text(guard_rails_path));
    return std::string(system_prompt);
  }
  std::string guard_rails_text;
  try {
    guard_rails_text = read_text_file(guard_rails_path);
  } catch (const UnicodeDecodeError& e) {
    Log::agent.warning("[tessik]     failed to read guard_rails.md (%s): %s",
                       std::string(e.class_name()), std::string(e.what()));
    return std::string(system_prompt);
  } catch (const FileSystemError& e) {
    Log::agent.warning("[tessik]     failed to read guard_rails.md (%s): %s",
                       std::string(e.class_name()), std::string(e.what()));
    return std::string(system_prompt);
  }

  const auto block = find_agent_block(system_prompt);
  if (!block) {
    guard_rails_text += "\n\n";
    guard_rails_text += system_prompt;
    return guard_rails_text;
  }
  const std::string_view items =
      block_items(system_prompt.substr(block->begin, block->end - block->begin));
  std::string result = merge_items(guard_rails_text, items);
  result += "\n\n";
  result += system_prompt.substr(0, block->begin);
  result += system_prompt.substr(block->end);
  return result;
}

}  // namespace tessik::detail
