#include <gtest/gtest.h>

#include <optional>
#include <string>

#include <tessik/finding_schema.hpp>
#include <tessik/json.hpp>
#include <tessik/terminal_state.hpp>

namespace tessik {
namespace {

const char* const kFindings =
    R"({"status": "findings", "findings": [{"file_path": "a", "line_number": 1}]})";
const char* const kClean = R"({"status": "clean", "summary": "Read all of it.", "confidence": 1})";
const char* const kModelError =
    R"({"status": "error", "error": {"code": "tool_unavailable", "message": "no tools"}})";

struct Case {
  const char* name;
  std::string text;
  std::optional<std::string> stop_reason;
  bool hit_cap;
  const char* state;
  const char* code;  // the classifier's code for "error"; nullptr for a valid reply
};

TEST(ClassifyTerminalState, Table) {
  const std::string big = "{\"status\": \"clean\", \"summary\": \"" +
                          std::string(MAX_REPLY_BYTES, 'x') + "\", \"confidence\": 1}";
  const Case cases[] = {
      // Valid replies keep their own status.
      {"findings reply", kFindings, "end_turn", false, "findings", nullptr},
      {"clean reply with integer confidence", kClean, std::nullopt, false, "clean", nullptr},
      {"model's own error reply", kModelError, std::nullopt, false, "error", nullptr},
      {"surrounding white space is ignored", std::string(" \n") + kClean + "\n\t", {}, false,
       "clean", nullptr},
      {"json fence is unwrapped", std::string("```json\n") + kClean + "\n```", {}, false, "clean",
       nullptr},
      {"bare fence is unwrapped", std::string("```\n") + kFindings + "\n```\n", {}, false,
       "findings", nullptr},
      {"a valid reply wins over the iteration cap", kClean, {}, true, "clean", nullptr},
      {"a valid reply at the token limit is kept", kClean, "max_tokens", false, "clean", nullptr},
      // Replies that are not verdicts.
      {"empty text", "", {}, false, "error", "empty_response"},
      {"blank text, Unicode spaces too", " \n\u00a0\u3000", {}, false, "error", "empty_response"},
      {"refusal beats a valid text", kClean, "refusal", false, "error", "model_refusal"},
      {"refusal with empty text", "", "refusal", true, "error", "model_refusal"},
      {"prose", "Looks fine to me.", {}, false, "error", "invalid_json"},
      {"cut-off JSON at the token limit", R"({"status": "findings", "find)", "max_tokens", false,
       "error", "truncated_response"},
      {"prose at the token limit", "I think", "max_tokens", false, "error",
       "truncated_response"},
      {"text around a fence is not unwrapped", std::string("Here:\n```json\n") + kClean + "\n```",
       {}, false, "error", "invalid_json"},
      {"two fenced blocks are not unwrapped",
       std::string("```json\n") + kClean + "\n```\n```json\n" + kClean + "\n```", {}, false,
       "error", "invalid_json"},
      {"a fence tagged with another language is not unwrapped",
       std::string("```python\n") + kClean + "\n```", {}, false, "error", "invalid_json"},
      {"trailing comma", R"({"status": "clean", "summary": "s", "confidence": 1,})", {}, false,
       "error", "invalid_json"},
      {"too large to parse", big, {}, false, "error", "response_too_large"},
      {"JSON array", "[]", {}, false, "error", "invalid_response_schema"},
      {"JSON string", "\"clean\"", {}, false, "error", "invalid_response_schema"},
      {"legacy bare findings object", R"({"findings": []})", {}, false, "error",
       "invalid_response_schema"},
      {"object without status", R"({"summary": "x"})", {}, false, "error",
       "invalid_response_schema"},
      {"status differs in letter case", R"({"status": "Clean", "summary": "s", "confidence": 1})",
       {}, false, "error", "invalid_response_schema"},
      {"status not text", R"({"status": 1})", {}, false, "error", "invalid_response_schema"},
      {"unknown status", R"({"status": "done"})", {}, false, "error", "invalid_response_schema"},
      {"findings reply with empty array", R"({"status": "findings", "findings": []})", {}, false,
       "error", "invalid_response_schema"},
      {"findings reply without array", R"({"status": "findings"})", {}, false, "error",
       "invalid_response_schema"},
      {"findings reply with an object for the array",
       R"({"status": "findings", "findings": {"a": 1}})", {}, false, "error",
       "invalid_response_schema"},
      {"clean reply without summary", R"({"status": "clean", "confidence": 0.9})", {}, false,
       "error", "invalid_response_schema"},
      {"clean reply with blank summary", R"({"status": "clean", "summary": " ", "confidence": 1})",
       {}, false, "error", "invalid_response_schema"},
      {"clean reply with numeric summary", R"({"status": "clean", "summary": 1, "confidence": 1})",
       {}, false, "error", "invalid_response_schema"},
      {"clean reply with text confidence",
       R"({"status": "clean", "summary": "s", "confidence": "high"})", {}, false, "error",
       "invalid_response_schema"},
      {"clean reply with boolean confidence",
       R"({"status": "clean", "summary": "s", "confidence": true})", {}, false, "error",
       "invalid_response_schema"},
      {"error reply without error object", R"({"status": "error"})", {}, false, "error",
       "invalid_response_schema"},
      {"error reply with text error", R"({"status": "error", "error": "boom"})", {}, false,
       "error", "invalid_response_schema"},
      {"error reply without message", R"({"status": "error", "error": {"code": "x"}})", {}, false,
       "error", "invalid_response_schema"},
      {"error reply with numeric code",
       R"({"status": "error", "error": {"code": 5, "message": "m"}})", {}, false, "error",
       "invalid_response_schema"},
      // The iteration cap explains any reply that is not a verdict.
      {"cap with empty text", "", {}, true, "error", "max_iterations_no_verdict"},
      {"cap with prose", "Still looking", "max_tokens", true, "error",
       "max_iterations_no_verdict"},
      {"cap with a schema violation", R"({"findings": []})", {}, true, "error",
       "max_iterations_no_verdict"},
  };
  for (const Case& c : cases) {
    const TerminalState t = classify_terminal_state({.raw_text = c.text,
                                                     .stop_reason = c.stop_reason,
                                                     .iterations_used = 4,
                                                     .max_iterations = 6,
                                                     .hit_iteration_cap = c.hit_cap});
    EXPECT_EQ(t.state, c.state) << c.name;
    ASSERT_TRUE(t.payload.is_mapping()) << c.name;
    if (c.code == nullptr) {
      EXPECT_EQ(to_json(t.payload), to_json(parse_json(c.text.substr(
                                        c.text.find('{'), c.text.rfind('}') - c.text.find('{') + 1))))
          << c.name << ": the payload is the reply object, unchanged";
      continue;
    }
    const Value& error = t.payload.as_mapping().at("error");
    EXPECT_EQ(t.payload.as_mapping().size(), 1u) << c.name;
    EXPECT_EQ(error.as_mapping().at("code"), Value(c.code)) << c.name;
    EXPECT_FALSE(error.as_mapping().at("message").as_string().empty()) << c.name;
    EXPECT_EQ(error.as_mapping().at("iterations_used"), Value(4)) << c.name;
  }
}

TEST(ClassifyTerminalState, MessagesNameTheProblem) {
  const auto message = [](ReplyFacts facts) {
    return classify_terminal_state(facts).payload.find("error")->find("message")->as_string();
  };
  EXPECT_NE(message({.raw_text = R"({"findings": []})"}).find("no \"status\""), std::string::npos);
  EXPECT_NE(message({.raw_text = R"({"status": "done"})"}).find("'done'"), std::string::npos);
  EXPECT_NE(message({.raw_text = "", .max_iterations = 7, .hit_iteration_cap = true})
                .find("cap of 7 iterations"),
            std::string::npos);
}

// The schema must accept what the reply contract asks for and nothing the
// finding parser cannot read.
TEST(OutputConfig, ConstrainsToTheThreeShapes) {
  const Value config = output_config_for_three_state();
  EXPECT_EQ(config, output_config_for_three_state()) << "fresh but identical each call";
  const Value& format = config.as_mapping().at("format");
  EXPECT_EQ(format.as_mapping().at("type"), Value("json_schema"));
  const Value::Sequence& shapes =
      format.as_mapping().at("schema").as_mapping().at("anyOf").as_sequence();
  ASSERT_EQ(shapes.size(), 3u);

  const auto props = [](const Value& object) -> const Value::Mapping& {
    return object.as_mapping().at("properties").as_mapping();
  };
  const auto required = [](const Value& object) {
    return object.as_mapping().at("required");
  };
  const auto enum_of = [](const Value& property) { return property.as_mapping().at("enum"); };

  EXPECT_EQ(enum_of(props(shapes[0]).at("status")), Value(Value::Sequence{"findings"}));
  EXPECT_EQ(enum_of(props(shapes[1]).at("status")), Value(Value::Sequence{"clean"}));
  EXPECT_EQ(enum_of(props(shapes[2]).at("status")), Value(Value::Sequence{"error"}));
  EXPECT_EQ(required(shapes[1]), (Value::Sequence{"status", "summary", "confidence"}));
  EXPECT_EQ(props(shapes[0]).at("findings").as_mapping().at("minItems"), Value(1));

  const Value& finding = props(shapes[0]).at("findings").as_mapping().at("items");
  for (const char* key : {"file_path", "line_number", "severity", "issue", "suggestion",
                          "confidence", "category", "code_replacement",
                          "replacement_line_count"}) {
    EXPECT_TRUE(props(finding).contains(key)) << key;
  }
  EXPECT_EQ(enum_of(props(finding).at("severity")),
            (Value::Sequence{"high", "medium", "low", "info"}));
  EXPECT_EQ(enum_of(props(finding).at("category")),
            (Value::Sequence{"architecture", "security", "performance", "code-quality"}));
  EXPECT_EQ(props(finding).at("code_replacement"),
            (Value::Mapping{{"anyOf", Value::Sequence{Value::Mapping{{"type", "array"},
                                                                     {"items", Value::Mapping{{"type", "string"}}}},
                                                      Value::Mapping{{"type", "null"}}}}}));
  const Value& error = props(shapes[2]).at("error");
  EXPECT_EQ(required(error), (Value::Sequence{"code", "message"}));
}

}  // namespace
}  // namespace tessik
