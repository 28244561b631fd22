#include "request.hpp"

#include <openssl/evp.h>
#if defined(__linux__)
#include <sys/mman.h>
#endif

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "../ai_client.hpp"
#include "../errors.hpp"

namespace tessik::detail {
namespace {

using namespace std::string_view_literals;

constexpr std::size_t kDiffHashDigits = 16;
constexpr std::string_view kFileLead = "File: ";
constexpr std::string_view kFileSeparator = "\n\n";

// Pieces are hashed in slices of this size right after they are copied, so
// the hash reads them from cache rather than from memory.
constexpr std::size_t kHashSlice = std::size_t{64} << 10;

// Incremental SHA-256 through the EVP interface.
class Sha256 {
 public:
  Sha256() : ctx_(EVP_MD_CTX_new()) {
    if (!ctx_ || EVP_DigestInit_ex(ctx_.get(), digest(), nullptr) != 1) fail();
  }

  void update(const char* data, std::size_t size) {
    if (size != 0 && EVP_DigestUpdate(ctx_.get(), data, size) != 1) fail();
  }

  // The first `digits` lower-case hex digits of the digest (at most 64).
  std::string hex(std::size_t digits) {
    std::array<unsigned char, EVP_MAX_MD_SIZE> md{};
    unsigned int size = 0;
    if (EVP_DigestFinal_ex(ctx_.get(), md.data(), &size) != 1) fail();
    static constexpr char kHex[] = "0123456789abcdef";
    std::string text(std::min<std::size_t>(digits, 2 * std::size_t{size}), '0');
    for (std::size_t i = 0; i < text.size(); ++i) {
      const unsigned char byte = md[i / 2];
      text[i] = kHex[i % 2 == 0 ? byte >> 4 : byte & 0xF];
    }
    return text;
  }

 private:
  // Fetched once: an explicit fetch spares every digest the provider lookup
  // that EVP_sha256() implies. Kept for the life of the process.
  static const EVP_MD* digest() {
    static const EVP_MD* const md = [] {
      const EVP_MD* fetched = EVP_MD_fetch(nullptr, "SHA256", nullptr);
      return fetched ? fetched : EVP_sha256();
    }();
    return md;
  }

  [[noreturn]] static void fail() { throw Error("SHA-256 of the diff text failed inside OpenSSL"); }

  struct Free {
    void operator()(EVP_MD_CTX* ctx) const noexcept { EVP_MD_CTX_free(ctx); }
  };
  std::unique_ptr<EVP_MD_CTX, Free> ctx_;
};

std::size_t diff_text_size(std::span<const FileChange> changes) {
  std::size_t size = 0;
  for (const FileChange& c : changes) {
    size += kFileLead.size() + c.file_path.size() + 1 + c.diff.size();
  }
  if (changes.size() > 1) size += kFileSeparator.size() * (changes.size() - 1);
  return size;
}

// Calls `append` with every piece of the diff text, in order.
template <class Append>
void for_each_diff_piece(std::span<const FileChange> changes, Append&& append) {
  bool first = true;
  for (const FileChange& c : changes) {
    if (!first) append(kFileSeparator);
    first = false;
    append(kFileLead);
    append(std::string_view(c.file_path));
    append("\n"sv);
    append(std::string_view(c.diff));
  }
}

// Asks the kernel to back a large fresh buffer with huge pages, so that
// filling it takes one page fault per 2 MiB instead of one per 4 KiB; for a
// 64 MiB diff that cuts the cost of the copy several times over. Only
// buffers of 32 MiB and more are advised: the allocator maps those afresh
// for every request, while smaller ones usually reuse memory it already
// holds. Only the 2 MiB-aligned interior is advised; the hint is harmless
// where huge pages are unavailable.
void advise_huge_pages(char* data, std::size_t size) {
#if defined(__linux__) && defined(MADV_HUGEPAGE)
  constexpr std::uintptr_t kHugePage = std::uintptr_t{2} << 20;
  constexpr std::size_t kThreshold = std::size_t{32} << 20;
  if (size < kThreshold) return;
  const auto start = reinterpret_cast<std::uintptr_t>(data);
  const std::uintptr_t begin = (start + kHugePage - 1) & ~(kHugePage - 1);
  const std::uintptr_t end = (start + size) & ~(kHugePage - 1);
  if (end > begin) ::madvise(data + (begin - start), end - begin, MADV_HUGEPAGE);
#else
  (void)data;
  (void)size;
#endif
}

// Builds the diff text into an exactly sized buffer and hashes it on the way.
std::string build_and_hash(std::span<const FileChange> changes, Sha256& sha) {
  std::string text;
  const std::size_t size = diff_text_size(changes);
  text.reserve(size);
  advise_huge_pages(text.data(), size);
  for_each_diff_piece(changes, [&](std::string_view piece) {
    while (!piece.empty()) {
      const std::size_t n = std::min(piece.size(), kHashSlice);
      const std::size_t at = text.size();
      text.append(piece.data(), n);
      sha.update(text.data() + at, n);
      piece.remove_prefix(n);
    }
  });
  return text;
}

void append_joined(std::string& out, const std::vector<std::string>& items) {
  bool first = true;
  for (const std::string& item : items) {
    if (!first) out += ", ";
    first = false;
    out += item;
  }
}

std::string agent_block_text(const AgentDefinition& definition) {
  const Value& prompt = definition.system_prompt;
  if (!prompt.is_string()) {
    throw TypeError("system_prompt of agent '" + definition.name + "' is a " +
                    std::string(Value::kind_name(prompt.kind())) + ", not text");
  }
  std::string text;
  text.reserve(AGENT_BLOCK_LEAD.size() + prompt.as_string().size());
  text += AGENT_BLOCK_LEAD;
  text += prompt.as_string();
  return text;
}

Value text_block(std::string text) {
  Value block = Value::Mapping{};
  block.as_mapping().set("type", "text");
  block.as_mapping().set("text", Value(std::move(text)));
  return block;
}

}  // namespace

std::string build_diff_text(std::span<const FileChange> changes) {
  std::string text;
  text.reserve(diff_text_size(changes));
  for_each_diff_piece(changes, [&](std::string_view piece) { text += piece; });
  return text;
}

std::string build_shared_context(const SharedAnalysisResult& shared) {
  std::string context = "Context from shared analysis:\nLanguages: ";
  append_joined(context, shared.languages);
  context += "\nRisk areas: ";
  append_joined(context, shared.risk_areas);
  context += "\nSummary: ";
  context += shared.summary;
  context += "\n\n";
  return context;
}

std::string sha256_hex(std::string_view bytes) {
  Sha256 sha;
  sha.update(bytes.data(), bytes.size());
  return sha.hex(64);
}

std::string diff_hash(std::string_view diff_text) {
  Sha256 sha;
  sha.update(diff_text.data(), diff_text.size());
  return sha.hex(kDiffHashDigits);
}

ReviewRequest assemble_request(std::span<const FileChange> changes,
                               const SharedAnalysisResult* shared,
                               const AgentDefinition& definition) {
  ReviewRequest request;
  Sha256 sha;
  std::string diff_text = build_and_hash(changes, sha);
  if (shared) request.shared_context = build_shared_context(*shared);
  request.diff_hash = sha.hex(kDiffHashDigits);

  Value diff_block = text_block(std::move(diff_text));
  diff_block.as_mapping().set("cache_control", CACHE_CONTROL_1H);
  Value::Sequence blocks;
  blocks.reserve(2);
  blocks.push_back(std::move(diff_block));
  blocks.push_back(text_block(agent_block_text(definition)));
  request.system_blocks = Value(std::move(blocks));

  std::string& user = request.user_content;
  user.reserve(request.shared_context.size() + REVIEW_SENTENCE.size() + REVIEW_INSTRUCTIONS.size());
  user += request.shared_context;
  user += REVIEW_SENTENCE;
  user += REVIEW_INSTRUCTIONS;
  return request;
}

}  // namespace tessik::detail
