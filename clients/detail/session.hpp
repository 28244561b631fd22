// One client's connection to its server: the URL and headers every request
// carries, the transport, and the usage totals.
#ifndef TESSIK_CLIENTS_DETAIL_SESSION_HPP_
#define TESSIK_CLIENTS_DETAIL_SESSION_HPP_

#include <string>
#include <string_view>
#include <vector>

#include <tessik/clients/detail/http_transport.hpp>
#include <tessik/clients/detail/tool_loop.hpp>
#include <tessik/clients/usage.hpp>
#include <tessik/foundation/value.hpp>

namespace tessik::clients::detail {

using ReplyDecoder = DecodedReply (*)(std::string_view body);

// The provider name failures show: `configured`, or "model server at
// <endpoint>".
std::string provider_label(const std::string& configured, const std::string& endpoint);

// `endpoint` without trailing slashes, followed by `path`.
std::string join_url(std::string_view endpoint, std::string_view path);

class Session {
 public:
  Session(std::string url, std::vector<std::string> headers, const TransportOptions& transport,
          std::string provider, std::string secret);

  // Posts `body` and decodes the answer, adding its usage under `agent`.
  // Throws ProviderError for a failed transfer, a status outside 2xx and a
  // body the decoder refuses, each naming the provider and the status.
  DecodedReply exchange(const Value& body, ReplyDecoder decode, const std::string& agent);

  UsageLedger& ledger() noexcept { return ledger_; }

 private:
  std::string url_;
  std::vector<std::string> headers_;
  HttpTransport transport_;
  UsageLedger ledger_;
};

}  // namespace tessik::clients::detail

#endif  // TESSIK_CLIENTS_DETAIL_SESSION_HPP_
