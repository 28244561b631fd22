// SHA-256, fed piece by piece: the one hash of the library (it keys the
// client's cache of a request's diff block).
//
//   detail::Sha256 sha;
//   sha.update("ab");
//   sha.update("c");
//   sha.hex(16);  // "ba7816bf8f01cfea"
#ifndef TESSIK_FOUNDATION_DETAIL_SHA256_HPP_
#define TESSIK_FOUNDATION_DETAIL_SHA256_HPP_

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

struct evp_md_ctx_st;

namespace tessik::detail {

// One digest in progress. Throws tessik::Error when the crypto library fails
// (it does not for this digest unless memory runs out). One object per
// thread; separate objects may be used on separate threads at once.
class Sha256 {
 public:
  Sha256();

  void update(std::string_view bytes);

  // Finishes the digest: its first `digits` lower-case hex digits (at most
  // 64). Call it once; `update` may not follow.
  std::string hex(std::size_t digits = 64);

 private:
  struct Free {
    void operator()(evp_md_ctx_st* ctx) const noexcept;
  };
  std::unique_ptr<evp_md_ctx_st, Free> ctx_;
};

}  // namespace tessik::detail

#endif  // TESSIK_FOUNDATION_DETAIL_SHA256_HPP_
