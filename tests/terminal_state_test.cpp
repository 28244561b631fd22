#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <tessik/finding_schema.hpp>
#include <tessik/foundation/json.hpp>
#include <tessik/terminal_state.hpp>

#include "strict_schema.hpp"

namespace tessik {
namespace {

const std::string F = R"({"status": "findings", "findings": [{"line_number": 1}]})";
const std::string C = R"({"status": "clean", "summary": "Read it.", "confidence": 1})";
const std::string E =
    R"({"status": "error", "error": {"code": "tool_unavailable", "message": ""}})";

struct Case {
  const char* name;
  std::string text;
  const char* want;                   // the state of a valid reply, else the classifier's code
  const char* stop_reason = nullptr;  // nullptr: absent
  bool hit_cap = false;
};

TEST(ClassifyTerminalState, Table) {
  const std::string at_limit = C + std::string(MAX_REPLY_BYTES - C.size(), ' ');
  const char* kSchema = "invalid_response_schema";
  const Case cases[] = {
      {"findings reply", F, "findings", "stop"},
      {"clean reply, integer confidence", C, "clean"},
      {"model's own error reply", E, "error"},
      {"strict-schema findings, unused members null",
       R"({"status": "findings", "findings": [{"line_number": 1}], "summary": null,)"
       R"( "confidence": null, "error": null})",
       "findings"},
      {"strict-schema clean",
       R"({"status": "clean", "findings": null, "summary": "s",)"
       R"( "confidence": 0.5, "error": null})",
       "clean"},
      {"strict-schema clean with a null summary still needs one",
       R"({"status": "clean", "findings": null, "summary": null, "confidence": 1, "error": null})",
       "invalid_response_schema"},
      {"white space around is ignored", " \n" + C + "\n\t", "clean"},
      {"json fence unwrapped", "```json\n" + C + "\n```", "clean"},
      {"bare fence unwrapped", "```\n" + F + "\n```\n", "findings"},
      {"valid reply wins over the cap", C, "clean", nullptr, true},
      {"valid reply at the token limit kept", C, "clean", "max_tokens"},
      {"empty", "", "empty_response"},
      {"blank, Unicode spaces too", " \n\u00a0\u3000", "empty_response"},
      {"refusal beats a valid text", C, "model_refusal", "refusal"},
      {"refusal beats the cap", "", "model_refusal", "refusal", true},
      {"prose", "Looks fine.", "invalid_json"},
      {"cut-off JSON at token limit", F.substr(0, 30), "truncated_response", "max_tokens"},
      {"text around a fence", "Here:\n```json\n" + C + "\n```", "invalid_json"},
      {"two fenced blocks", "```\n" + C + "\n```\n```\n" + C + "\n```", "invalid_json"},
      {"fence of another language", "```py\n" + C + "\n```", "invalid_json"},
      {"trailing comma", C.substr(0, C.size() - 1) + ",}", "invalid_json"},
      {"a reply at the size limit is parsed", at_limit, "clean"},
      {"one byte more is not", at_limit + " ", "response_too_large"},
      {"array", "[]", kSchema},
      {"legacy bare findings", R"({"findings": []})", kSchema},
      {"status in other case", R"({"status": "Clean"})", kSchema},
      {"status not text", R"({"status": 1})", kSchema},
      {"empty findings", R"({"status": "findings", "findings": []})", kSchema},
      {"findings not an array", R"({"status": "findings", "findings": {"a": 1}})", kSchema},
      {"clean, blank summary", R"({"status": "clean", "summary": " ", "confidence": 1})", kSchema},
      {"clean, no summary", R"({"status": "clean", "confidence": 1})", kSchema},
      {"clean, text confidence", R"({"status": "clean", "summary": "s", "confidence": "1"})",
       kSchema},
      {"clean, boolean confidence", R"({"status": "clean", "summary": "s", "confidence": true})",
       kSchema},
      {"error, text error", R"({"status": "error", "error": "boom"})", kSchema},
      {"error, no message", R"({"status": "error", "error": {"code": "x"}})", kSchema},
      {"error, numeric code", R"({"status": "error", "error": {"code": 5, "message": ""}})",
       kSchema},
      {"cap explains an empty reply", "", "max_iterations_no_verdict", nullptr, true},
      {"cap explains a cut-off reply", "{", "max_iterations_no_verdict", "max_tokens", true},
      {"cap explains a schema error", R"({"findings": []})", "max_iterations_no_verdict", nullptr,
       true},
  };
  for (const Case& c : cases) {
    const TerminalState t = classify_terminal_state(
        {.raw_text = c.text,
         .stop_reason = c.stop_reason ? std::optional<std::string>(c.stop_reason) : std::nullopt,
         .iterations_used = 4,
         .hit_iteration_cap = c.hit_cap});
    const std::string want = c.want;
    const bool valid = want == "findings" || want == "clean" || want == "error";
    if (!c.stop_reason || std::string_view(c.stop_reason) != "refusal") {
      EXPECT_EQ(is_verdict_reply(c.text), valid) << c.name;
    }
    if (valid) {
      EXPECT_EQ(t.state, want) << c.name;
      const std::size_t open = c.text.find('{');
      const Value reply = parse_json(c.text.substr(open, c.text.rfind('}') - open + 1));
      EXPECT_EQ(to_json(t.payload), to_json(reply)) << c.name << ": payload is the reply itself";
      continue;
    }
    EXPECT_EQ(t.state, "error") << c.name;
    ASSERT_EQ(t.payload.as_mapping().size(), 1u) << c.name;
    const Value::Mapping& error = t.payload.as_mapping().at("error").as_mapping();
    EXPECT_EQ(error.at("code"), Value(want)) << c.name;
    EXPECT_NE(error.at("message"), Value("")) << c.name;
    EXPECT_EQ(error.at("iterations_used"), Value(4)) << c.name;
  }
}

// The schema keeps both protocols' strict-mode rules, and its enums match
// what the finding parser and the reply contract accept.
TEST(OutputConfig, IsStrictModeValidAndNamesTheAcceptedWords) {
  const Value config = output_config_for_three_state();
  EXPECT_EQ(*config.find("name"), Value("three_state_review_reply"));
  const Value& schema = *config.find("schema");
  EXPECT_EQ(testing::strict_schema_problems(schema), std::vector<std::string>{});
  const auto prop = [](const Value& object, const char* key) -> const Value& {
    return *object.find("properties")->find(key);
  };
  const auto words = [](std::initializer_list<const char*> items) {
    return Value(Value::Sequence(items.begin(), items.end()));
  };
  EXPECT_EQ(*prop(schema, "status").find("enum"), words({"findings", "clean", "error"}));
  const Value& findings = prop(schema, "findings").find("anyOf")->as_sequence()[0];
  EXPECT_EQ(*findings.find("minItems"), Value(1));
  const Value& finding = *findings.find("items");
  EXPECT_EQ(*prop(finding, "severity").find("enum"), words({"high", "medium", "low", "info"}));
  EXPECT_EQ(*prop(finding, "category").find("enum"),
            words({"architecture", "security", "performance", "code-quality"}));

  // The checker itself catches each rule broken.
  const struct {
    const char* name;
    const char* schema;
    std::vector<std::string> problems;
  } kBroken[] = {
      {"anyOf root", R"({"anyOf": [{"type": "null"}]})", {"root: not of type object"}},
      {"optional property",
       R"({"type": "object", "properties": {"a": {"type": "string"}}, "required": [],)"
       R"( "additionalProperties": false})",
       {"root: not every property required"}},
      {"open nested object and a length",
       R"({"type": "object", "properties": {"a": {"type": "object", "properties": {},)"
       R"( "required": []}, "b": {"type": "string", "minLength": 1}}, "required": ["a", "b"],)"
       R"( "additionalProperties": false})",
       {"root/a: additionalProperties is not false", "root/b: keyword minLength"}},
      {"minItems above 1",
       R"({"type": "object", "properties": {"a": {"type": "array", "minItems": 2}},)"
       R"( "required": ["a"], "additionalProperties": false})",
       {"root/a: minItems 2"}},
  };
  for (const auto& c : kBroken) {
    EXPECT_EQ(testing::strict_schema_problems(parse_json(c.schema)), c.problems) << c.name;
  }
}

}  // namespace
}  // namespace tessik
