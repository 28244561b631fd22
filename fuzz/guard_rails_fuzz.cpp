// The guard-rails merge with a fuzzed prompt and a fuzzed document: the
// input is split at the first NUL byte into prompt and document.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include <tessik/agent_loader.hpp>
#include <tessik/agent_loader/definitions/detail/guard_rails.hpp>

#include "fuzz_support.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  tessik::fuzz::silence_logs();
  const std::string_view input = tessik::fuzz::as_text(data, size);
  const std::size_t cut = input.find('\0');
  const std::string_view prompt = input.substr(0, cut);
  const std::string_view document =
      cut == std::string_view::npos ? std::string_view() : input.substr(cut + 1);
  const auto path = tessik::fuzz::write_scratch("guard_rails.md", document);
  try {
    const std::string once = tessik::detail::prepend_guard_rails(prompt, path);
    (void)once;
  } catch (const tessik::Error&) {
  }
  return 0;
}
