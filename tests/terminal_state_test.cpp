#include <gtest/gtest.h>

#include <string>

#include <tessik/finding_schema.hpp>
#include <tessik/json.hpp>
#include <tessik/terminal_state.hpp>

namespace tessik {
namespace {

const std::string F = R"({"status": "findings", "findings": [{"line_number": 1}]})";
const std::string C = R"({"status": "clean", "summary": "Read it.", "confidence": 1})";
const std::string E =
    R"({"status": "error", "error": {"code": "tool_unavailable", "message": ""}})";

struct Case {
  const char* name;
  std::string text;
  const char* stop_reason;  // nullptr: absent
  bool hit_cap;
  const char* want;  // the state of a valid reply, else the classifier's error code
};

TEST(ClassifyTerminalState, Table) {
  const std::string huge = C + std::string(MAX_REPLY_BYTES, ' ');  // valid, but too long
  const Case cases[] = {
      {"findings reply", F, "stop", false, "findings"},
      {"clean reply, integer confidence", C, nullptr, false, "clean"},
      {"model's own error reply", E, nullptr, false, "error"},
      {"white space around is ignored", " \n" + C + "\n\t", nullptr, false, "clean"},
      {"json fence unwrapped", "```json\n" + C + "\n```", nullptr, false, "clean"},
      {"bare fence unwrapped", "```\n" + F + "\n```\n", nullptr, false, "findings"},
      {"valid reply wins over the cap", C, nullptr, true, "clean"},
      {"valid reply at the token limit kept", C, "max_tokens", false, "clean"},
      {"empty", "", nullptr, false, "empty_response"},
      {"blank, Unicode spaces too", " \n\u00a0\u3000", nullptr, false, "empty_response"},
      {"refusal beats a valid text", C, "refusal", false, "model_refusal"},
      {"refusal beats the cap", "", "refusal", true, "model_refusal"},
      {"prose", "Looks fine.", nullptr, false, "invalid_json"},
      {"cut-off JSON at token limit", F.substr(0, 30), "max_tokens", false, "truncated_response"},
      {"text around a fence", "Here:\n```json\n" + C + "\n```", nullptr, false, "invalid_json"},
      {"two fenced blocks", "```\n" + C + "\n```\n```\n" + C + "\n```", nullptr, false,
       "invalid_json"},
      {"fence of another language", "```py\n" + C + "\n```", nullptr, false, "invalid_json"},
      {"trailing comma", C.substr(0, C.size() - 1) + ",}", nullptr, false, "invalid_json"},
      {"too large to parse", huge, nullptr, false, "response_too_large"},
      {"array", "[]", nullptr, false, "invalid_response_schema"},
      {"legacy bare findings", R"({"findings": []})", nullptr, false, "invalid_response_schema"},
      {"status in other case", R"({"status": "Clean"})", nullptr, false, "invalid_response_schema"},
      {"status not text", R"({"status": 1})", nullptr, false, "invalid_response_schema"},
      {"empty findings", R"({"status": "findings", "findings": []})", nullptr, false,
       "invalid_response_schema"},
      {"findings not an array", R"({"status": "findings", "findings": {"a": 1}})", nullptr, false,
       "invalid_response_schema"},
      {"clean, blank summary", R"({"status": "clean", "summary": " ", "confidence": 1})", nullptr,
       false, "invalid_response_schema"},
      {"clean, no summary", R"({"status": "clean", "confidence": 1})", nullptr, false,
       "invalid_response_schema"},
      {"clean, text confidence", R"({"status": "clean", "summary": "s", "confidence": "1"})",
       nullptr, false, "invalid_response_schema"},
      {"clean, boolean confidence", R"({"status": "clean", "summary": "s", "confidence": true})",
       nullptr, false, "invalid_response_schema"},
      {"error, text error", R"({"status": "error", "error": "boom"})", nullptr, false,
       "invalid_response_schema"},
      {"error, no message", R"({"status": "error", "error": {"code": "x"}})", nullptr, false,
       "invalid_response_schema"},
      {"error, numeric code", R"({"status": "error", "error": {"code": 5, "message": ""}})",
       nullptr, false, "invalid_response_schema"},
      {"cap explains an empty reply", "", nullptr, true, "max_iterations_no_verdict"},
      {"cap explains a cut-off reply", "{", "max_tokens", true, "max_iterations_no_verdict"},
      {"cap explains a schema error", R"({"findings": []})", nullptr, true,
       "max_iterations_no_verdict"},
  };
  for (const Case& c : cases) {
    const TerminalState t = classify_terminal_state(
        {.raw_text = c.text,
         .stop_reason = c.stop_reason ? std::optional<std::string>(c.stop_reason) : std::nullopt,
         .iterations_used = 4,
         .hit_iteration_cap = c.hit_cap});
    const std::string want = c.want;
    if (want == "findings" || want == "clean" || want == "error") {
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

// The schema's enums must match what the finding parser and the reply
// contract accept, and each shape must require what the classifier requires.
TEST(OutputConfig, ConstrainsRepliesToTheThreeShapes) {
  const Value config = output_config_for_three_state();
  EXPECT_EQ(*config.find("name"), Value("three_state_review_reply"));
  const Value::Sequence& shapes = config.find("schema")->find("anyOf")->as_sequence();
  ASSERT_EQ(shapes.size(), 3u);
  const auto prop = [](const Value& object, const char* key) {
    return *object.find("properties")->find(key);
  };
  const auto strings = [](std::initializer_list<const char*> items) {
    Value::Sequence s(items.begin(), items.end());
    return Value(s);
  };
  const char* statuses[] = {"findings", "clean", "error"};
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(*prop(shapes[i], "status").find("enum"), strings({statuses[i]}));
    EXPECT_EQ(*shapes[i].find("additionalProperties"), Value(false));
  }
  EXPECT_EQ(*shapes[1].find("required"), strings({"status", "summary", "confidence"}));
  EXPECT_EQ(*prop(shapes[2], "error").find("required"), strings({"code", "message"}));
  const Value findings = prop(shapes[0], "findings");
  EXPECT_EQ(*findings.find("minItems"), Value(1));
  const Value& finding = *findings.find("items");
  EXPECT_EQ(finding.find("properties")->as_mapping().size(), 9u);
  EXPECT_EQ(*prop(finding, "severity").find("enum"), strings({"high", "medium", "low", "info"}));
  EXPECT_EQ(*prop(finding, "category").find("enum"),
            strings({"architecture", "security", "performance", "code-quality"}));
  const Value text_lines =
      Value::Mapping{{"type", "array"}, {"items", Value::Mapping{{"type", "string"}}}};
  EXPECT_EQ(
      prop(finding, "code_replacement"),
      (Value::Mapping{{"anyOf", Value::Sequence{text_lines, Value::Mapping{{"type", "null"}}}}}));
}

}  // namespace
}  // namespace tessik
