#include <tessik/terminal_state.hpp>

#include <string>
#include <string_view>
#include <utility>

#include <tessik/foundation/errors.hpp>
#include <tessik/foundation/json.hpp>
#include <tessik/foundation/text.hpp>

namespace tessik {
namespace {

using namespace std::string_view_literals;

// Either a valid reply (its status and object) or the reason it is not one.
struct Judgement {
  bool valid = false;
  std::string state;  // the status of a valid reply
  Value reply;        // the reply object of a valid reply
  std::string code;   // why it is not valid
  std::string message;
};

Judgement refuse(std::string code, std::string message) {
  Judgement j;
  j.code = std::move(code);
  j.message = std::move(message);
  return j;
}

Judgement invalid_schema(std::string message) {
  return refuse("invalid_response_schema", std::move(message));
}

std::string_view json_kind(const Value& v) {
  switch (v.kind()) {
    case Value::Kind::null:
      return "null";
    case Value::Kind::boolean:
      return "boolean";
    case Value::Kind::integer:
    case Value::Kind::floating:
      return "number";
    case Value::Kind::string:
      return "string";
    case Value::Kind::sequence:
      return "array";
    case Value::Kind::mapping:
      return "object";
  }
  return "value";
}

bool is_fence_line(std::string_view line) { return lstrip(line).starts_with("```"sv); }

// The content of a text that is exactly one fenced code block, or the text
// itself when it is anything else.
std::string_view unwrap_fence(std::string_view text) {
  if (!text.starts_with("```"sv)) return text;
  const std::size_t first_break = text.find('\n');
  const std::size_t last_break = text.rfind('\n');
  if (first_break == std::string_view::npos || last_break == first_break) return text;
  const std::string_view tag = strip(text.substr(3, first_break - 3));
  if (!tag.empty() && lower(tag) != "json") return text;
  if (strip(text.substr(last_break + 1)) != "```"sv) return text;
  const std::string_view content = text.substr(first_break + 1, last_break - first_break - 1);
  for (std::size_t pos = 0; pos <= content.size();) {
    const std::size_t end = std::min(content.find('\n', pos), content.size());
    if (is_fence_line(content.substr(pos, end - pos))) return text;
    pos = end + 1;
  }
  return content;
}

bool non_blank_text(const Value* v) {
  return v && v->is_string() && !strip(v->as_string()).empty();
}

Judgement judge_envelope(Value reply) {
  if (!reply.is_mapping()) {
    return invalid_schema("the reply is a JSON " + std::string(json_kind(reply)) +
                          ", not an object with a \"status\"");
  }
  const Value::Mapping& m = reply.as_mapping();
  const Value* status = m.find("status");
  if (!status) {
    if (m.contains("findings")) {
      return invalid_schema(
          "the reply has \"findings\" but no \"status\"; the bare findings shape is not "
          "accepted");
    }
    return invalid_schema("the reply object has no \"status\"");
  }
  if (!status->is_string() || (status->as_string() != "findings" &&
                               status->as_string() != "clean" && status->as_string() != "error")) {
    return invalid_schema("the reply's \"status\" is " + repr(*status) +
                          "; expected 'findings', 'clean' or 'error'");
  }
  const std::string& state = status->as_string();
  if (state == "findings") {
    const Value* findings = m.find("findings");
    if (!findings || !findings->is_sequence() || findings->as_sequence().empty()) {
      return invalid_schema(
          "a \"findings\" reply needs a non-empty \"findings\" array (a review with nothing to "
          "flag is \"clean\")");
    }
  } else if (state == "clean") {
    if (!non_blank_text(m.find("summary"))) {
      return invalid_schema(R"(a "clean" reply needs a non-blank text "summary")");
    }
    const Value* confidence = m.find("confidence");
    if (!confidence || !confidence->is_number()) {
      return invalid_schema(R"(a "clean" reply needs a numeric "confidence")");
    }
  } else {
    const Value* error = m.find("error");
    const Value* message = error ? error->find("message") : nullptr;
    if (!error || !error->is_mapping() || !non_blank_text(error->find("code")) || !message ||
        !message->is_string()) {
      return invalid_schema(
          R"(an "error" reply needs an "error" object with a text "code" and "message")");
    }
  }
  Judgement j;
  j.valid = true;
  j.state = state;
  j.reply = std::move(reply);
  return j;
}

Judgement judge_text(std::string_view raw_text, const std::optional<std::string>& stop_reason) {
  const std::string_view text = strip(raw_text);
  if (text.empty()) {
    return refuse("empty_response",
                  raw_text.empty() ? "the reply is empty" : "the reply holds only white space");
  }
  if (raw_text.size() > MAX_REPLY_BYTES) {
    return refuse("response_too_large", "the reply is " + std::to_string(raw_text.size()) +
                                            " bytes, above the limit of " +
                                            std::to_string(MAX_REPLY_BYTES) + " bytes");
  }
  Value reply;
  try {
    reply = parse_json(unwrap_fence(text));
  } catch (const Error& e) {
    if (stop_reason == "max_tokens") {
      return refuse("truncated_response",
                    "the reply stopped at the token limit before its JSON was complete");
    }
    return refuse("invalid_json", std::string("the reply is not valid JSON: ") + e.what());
  }
  return judge_envelope(std::move(reply));
}

TerminalState classifier_error(const ReplyFacts& facts, std::string code, std::string message) {
  Value error = Value::Mapping{};
  Value::Mapping& e = error.as_mapping();
  e.set("code", std::move(code));
  e.set("message", std::move(message));
  e.set("iterations_used", facts.iterations_used);
  Value payload = Value::Mapping{};
  payload.as_mapping().set("error", std::move(error));
  return {"error", std::move(payload)};
}

}  // namespace

bool is_verdict_reply(std::string_view raw_text) {
  return judge_text(raw_text, std::nullopt).valid;
}

TerminalState classify_terminal_state(const ReplyFacts& facts) {
  if (facts.stop_reason == "refusal") {
    return classifier_error(facts, "model_refusal",
                            "the model refused the request (stop reason \"refusal\")");
  }
  Judgement j = judge_text(facts.raw_text, facts.stop_reason);
  if (j.valid) return {std::move(j.state), std::move(j.reply)};
  if (facts.hit_iteration_cap) {
    return classifier_error(facts, "max_iterations_no_verdict",
                            "the tool-use loop stopped at its cap of " +
                                std::to_string(facts.max_iterations) +
                                " iterations without a verdict (" + j.message + ")");
  }
  return classifier_error(facts, std::move(j.code), std::move(j.message));
}

}  // namespace tessik
