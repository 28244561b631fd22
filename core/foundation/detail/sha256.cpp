#include <tessik/foundation/detail/sha256.hpp>

#include <openssl/evp.h>

#include <algorithm>
#include <array>

#include <tessik/foundation/errors.hpp>

namespace tessik::detail {
namespace {

// Fetched once: an explicit fetch spares every digest the provider lookup
// that EVP_sha256() implies. Kept for the life of the process.
const EVP_MD* digest() {
  static const EVP_MD* const md = [] {
    const EVP_MD* fetched = EVP_MD_fetch(nullptr, "SHA256", nullptr);
    return fetched ? fetched : EVP_sha256();
  }();
  return md;
}

[[noreturn]] void fail() { throw Error("SHA-256 of the diff text failed inside OpenSSL"); }

}  // namespace

void Sha256::Free::operator()(evp_md_ctx_st* ctx) const noexcept { EVP_MD_CTX_free(ctx); }

Sha256::Sha256() : ctx_(EVP_MD_CTX_new()) {
  if (!ctx_ || EVP_DigestInit_ex(ctx_.get(), digest(), nullptr) != 1) fail();
}

void Sha256::update(std::string_view bytes) {
  if (!bytes.empty() && EVP_DigestUpdate(ctx_.get(), bytes.data(), bytes.size()) != 1) fail();
}

std::string Sha256::hex(std::size_t digits) {
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

}  // namespace tessik::detail
