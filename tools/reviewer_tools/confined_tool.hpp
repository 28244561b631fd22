// What the three reviewer tools share: turning every failure into an error
// answer, capping answers, and reading their inputs.
#ifndef TESSIK_TOOLS_REVIEWER_TOOLS_CONFINED_TOOL_HPP_
#define TESSIK_TOOLS_REVIEWER_TOOLS_CONFINED_TOOL_HPP_

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include <tessik/ai_client.hpp>

#include "reviewer_tools/source_tree.hpp"

namespace tessik::cli {

// A reviewer tool over a SourceTree. Subclasses compute the answer and may
// throw anything; `execute` turns that into an "error: " answer.
class ConfinedTool : public ReviewerTool {
 public:
  explicit ConfinedTool(std::shared_ptr<const SourceTree> tree) : tree_(std::move(tree)) {}
  Value execute(const Value& input) final;

 protected:
  virtual std::string answer(const Value& input) const = 0;
  const SourceTree& tree() const { return *tree_; }

 private:
  std::shared_ptr<const SourceTree> tree_;
};

// `text` made valid UTF-8 (each ill-formed sequence becomes U+FFFD) and cut
// at a character boundary to at most `max_bytes`, followed by a marker line
// naming both sizes when anything was cut.
std::string capped_answer(std::string_view text, std::size_t max_bytes);

// The input's entry `key` as text; nullopt when absent or null and not
// required. Throws ToolRefusal for a missing required entry, a wrong type,
// or an input that is not an object.
std::optional<std::string> text_input(const Value& input, const char* key, bool required);
std::optional<std::int64_t> int_input(const Value& input, const char* key, bool required);
std::optional<bool> bool_input(const Value& input, const char* key);

// A JSON-schema property of the given type with a description.
Value schema_property(const char* type, const char* description);

// The tool definition: name, description and an object schema.
Value tool_definition_value(const char* name, const char* description, Value::Mapping properties,
                            Value::Sequence required);

}  // namespace tessik::cli

#endif  // TESSIK_TOOLS_REVIEWER_TOOLS_CONFINED_TOOL_HPP_
