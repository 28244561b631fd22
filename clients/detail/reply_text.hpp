// Words for what came back from a model server: the failure message of an
// HTTP status, the provider's own error message in a body, and a printable
// excerpt of a body that is not what the protocol promises.
#ifndef TESSIK_CLIENTS_DETAIL_REPLY_TEXT_HPP_
#define TESSIK_CLIENTS_DETAIL_REPLY_TEXT_HPP_

#include <cstddef>
#include <string>
#include <string_view>

#include <tessik/foundation/value.hpp>

namespace tessik::clients::detail {

// How many bytes of an unexpected body a message quotes.
inline constexpr std::size_t kExcerptBytes = 120;

// What a status means to the user: 401 "authentication failed", 429
// "rate limited", 529 "overloaded", ... and "request failed" for the rest.
std::string_view status_words(long status) noexcept;

// The first `limit` bytes of `body`, quoted, with control characters,
// quotes and bytes that are not valid UTF-8 escaped, and "..." when cut.
std::string excerpt(std::string_view body, std::size_t limit = kExcerptBytes);

// The provider's own error message in an error body: "error.message" (both
// protocols), a bare "error" text (local servers) or a top-level "message".
// Empty when the body holds none of these.
std::string provider_message(std::string_view body);

// The message of a failed call: "<status words> (HTTP <status>): <provider
// message>", or, without a provider message, the body excerpt instead.
// `attempts` above 1 is mentioned.
std::string http_failure(long status, int attempts, std::string_view body);

// Parses a reply body as JSON. Throws InvalidValueError "the reply is not
// JSON (<parser's reason>); it begins: <excerpt>".
Value parse_reply(std::string_view body);

}  // namespace tessik::clients::detail

#endif  // TESSIK_CLIENTS_DETAIL_REPLY_TEXT_HPP_
