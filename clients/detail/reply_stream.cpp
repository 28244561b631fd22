#include <tessik/clients/detail/reply_stream.hpp>

#include <string>

#include <tessik/clients/detail/reply_text.hpp>
#include <tessik/clients/detail/wire_values.hpp>
#include <tessik/foundation/errors.hpp>
#include <tessik/foundation/json.hpp>

namespace tessik::clients::detail {

Value event_json(std::string_view name, std::string_view data) {
  try {
    return parse_json(data);
  } catch (const Error& e) {
    throw InvalidValueError("event '" + std::string(name) + "' holds data that is not JSON (" +
                            e.what() + "): " + excerpt(data));
  }
}

void throw_reported_error(const Value& error) {
  const Value* inner = mapping_at(error, "error");
  const Value& e = inner ? *inner : error;
  std::string message = text_at(e, "message");
  if (message.empty()) message = "no message";
  const std::string type = text_at(e, "type");
  if (!type.empty()) message += " (" + type + ")";
  throw InvalidValueError("the server reported an error in the stream: " + message);
}

}  // namespace tessik::clients::detail
