// One client's connection to its server: the URL and headers every request
// carries, the transport, and the usage totals.
#ifndef TESSIK_CLIENTS_DETAIL_SESSION_HPP_
#define TESSIK_CLIENTS_DETAIL_SESSION_HPP_

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include <tessik/clients/call_progress.hpp>
#include <tessik/clients/detail/http_transport.hpp>
#include <tessik/clients/detail/reply_stream.hpp>
#include <tessik/clients/detail/tool_loop.hpp>
#include <tessik/clients/usage.hpp>
#include <tessik/foundation/value.hpp>

namespace tessik::clients::detail {

using ReplyDecoder = DecodedReply (*)(std::string_view body);

// How a client's replies arrive. Without `make`, requests do not ask for a
// stream.
struct StreamSetup {
  ReplyStreamFactory make = nullptr;
  // JSON members added to every request body to ask for a stream, each
  // preceded by ", ": `, "stream": true`.
  std::string_view body_members{};
  ProgressObserver progress{};
};

// The provider name failures show: `configured`, or "model server at
// <endpoint>".
std::string provider_label(const std::string& configured, const std::string& endpoint);

// `endpoint` without trailing slashes, followed by `path`.
std::string join_url(std::string_view endpoint, std::string_view path);

class Session {
 public:
  Session(std::string url, std::vector<std::string> headers, const TransportOptions& transport,
          std::string provider, std::string secret, StreamSetup stream = {});

  // Posts `body` and decodes the answer, adding its usage under `agent`:
  // a streamed answer through the stream setup's assembler, any other
  // (a server may ignore the request to stream) through `decode`. Reports
  // progress under `agent`. Throws ProviderError for a failed transfer, a
  // status outside 2xx and a reply the decoder refuses, each naming the
  // provider and the status.
  DecodedReply exchange(const Value& body, ReplyDecoder decode, const std::string& agent);

  // `handlers` each wrapped to report the `tool` stage under `agent` before
  // it runs; `handlers` itself when there is no observer.
  std::map<std::string, ToolHandler> observed(const std::map<std::string, ToolHandler>& handlers,
                                              const std::string& agent) const;

  UsageLedger& ledger() noexcept { return ledger_; }

 private:
  std::string url_;
  std::vector<std::string> headers_;
  HttpTransport transport_;
  StreamSetup stream_;
  UsageLedger ledger_;
};

}  // namespace tessik::clients::detail

#endif  // TESSIK_CLIENTS_DETAIL_SESSION_HPP_
