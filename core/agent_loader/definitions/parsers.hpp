// Agent definition files and their parsers.
//
//   AgentDefinition def = load_agent_definition("agents/wynn.md");
//
//   for (const auto& parser : default_parsers())
//     if (parser->can_parse(path)) return parser->parse(path);
//
// Two formats exist, told apart by the file name's suffix (exact and
// case-sensitive, see `detail::path_suffix`):
//
//   ".yaml", ".yml"   one YAML mapping of definition keys
//   ".md"             a YAML front-matter between "---" lines holding the
//                     keys, then a Markdown body (front_matter.hpp)
//
// Reading a file: at most `MAX_DEFINITION_FILE_BYTES`, decoded as strict
// UTF-8, CR LF and lone CR turned into LF. A leading byte-order mark stays in
// the text: the YAML loader skips it in a ".yaml" file, while in a ".md" file
// it stands before the dashes and so leaves the file without front-matter.
//
// Loading the YAML: one document (an explicit "---" start is fine), safe
// tags only, YAML 1.1 plain scalars ("no" is false, "1.0" a float, "1e3" a
// string; see yaml.hpp). A document that is null, false, zero, empty text or
// an empty collection counts as the empty mapping (so it fails later for its
// missing name); any other document that is not a mapping is a TypeError.
//
// The mapping then goes through `detail::dict_to_definition` (definition.hpp)
// with the file's path text as the source. A Markdown body, trimmed, becomes
// the "system_prompt" when the front-matter has no such key at all (a key
// present with "" or null keeps the body out) and the body is not empty.
//
// Guard rails: when the definition's name is one of the four built-in agent
// names ("corvin", "hesper", "wynn", "peregrin"; exact, case-sensitive), its
// system prompt is replaced by `detail::prepend_guard_rails` (guard_rails.hpp)
// of it; this reads agents/_shared/guard_rails.md and may log a warning. The
// test looks at the name only, not at where the file lies.
//
// Failures, all thrown (nothing here catches or logs):
//   FileSystemError      missing, unreadable, a directory, a pipe or device
//   UnicodeDecodeError   bytes that are not UTF-8
//   YamlError            malformed YAML, a second document, an unknown tag,
//                        a loader limit
//   TypeError            a document that is no mapping; a bad key (definition.hpp);
//                        a built-in agent whose system_prompt is not a string
//   InvalidValueError    "No YAML front-matter found in <path>"; a bad key;
//                        a file larger than MAX_DEFINITION_FILE_BYTES
//   OverflowError        a bad key (definition.hpp)
//
// Thread safety: parsers have no state; any number of threads may parse at
// once, and `default_parsers()` is immutable after its first use.
#ifndef TESSIK_AGENT_LOADER_DEFINITIONS_PARSERS_HPP_
#define TESSIK_AGENT_LOADER_DEFINITIONS_PARSERS_HPP_

#include <cstdint>
#include <filesystem>
#include <memory>
#include <vector>

#include <tessik/agent_loader/definitions/agent_definition.hpp>
#include <tessik/foundation/limits.hpp>

namespace tessik {

// The largest definition file that is read: 4 MiB, far above any real
// definition. A larger file fails with InvalidValueError ("file too large")
// before any of it is read, so a hostile file cannot make a load take
// unbounded memory or time.
inline constexpr std::uintmax_t MAX_DEFINITION_FILE_BYTES = limits::kDefinitionFileBytes;

// One definition file format. Implementations hold no mutable state, so one
// instance may serve any number of threads.
class AgentDefinitionParser {
 public:
  virtual ~AgentDefinitionParser() = default;

  // Whether this parser handles the file at `path`, decided from the name
  // alone without touching the file system (so it answers for files that do
  // not exist).
  virtual bool can_parse(const std::filesystem::path& path) const = 0;

  // Reads the file and returns a new definition, or throws (see the top of
  // this header); never returns an incomplete definition. Call it only for a
  // path that `can_parse` accepted.
  virtual AgentDefinition parse(const std::filesystem::path& path) const = 0;
};

// ".yaml" and ".yml" files: the whole file is one YAML mapping.
class YAMLAgentParser final : public AgentDefinitionParser {
 public:
  bool can_parse(const std::filesystem::path& path) const override;
  AgentDefinition parse(const std::filesystem::path& path) const override;
};

// ".md" files: YAML front-matter, then a Markdown body that is the default
// system prompt. Throws InvalidValueError "No YAML front-matter found in "
// followed by the path text when the file does not open with front-matter.
class MarkdownAgentParser final : public AgentDefinitionParser {
 public:
  bool can_parse(const std::filesystem::path& path) const override;
  AgentDefinition parse(const std::filesystem::path& path) const override;
};

// An ordered list of parsers; the first that claims a file parses it.
using ParserList = std::vector<std::shared_ptr<const AgentDefinitionParser>>;

// The default list: one YAMLAgentParser, then one MarkdownAgentParser. Built
// once, on first use, thread-safely; never changed. The two claim disjoint
// names, so their order matters only once a caller adds parsers of its own.
const ParserList& default_parsers();

// Loads one definition file with the first parser of `default_parsers()`
// that claims it; that parser's result or failure is the result, no other
// parser is tried. Throws InvalidValueError "No parser for agent definition
// file: " followed by `path` as given (`path.string()`) when no parser claims
// it, and whatever the parser throws otherwise. Thread-safe.
AgentDefinition load_agent_definition(const std::filesystem::path& path);

}  // namespace tessik

#endif  // TESSIK_AGENT_LOADER_DEFINITIONS_PARSERS_HPP_
