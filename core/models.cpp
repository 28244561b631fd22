#include <tessik/models.hpp>

#include <ostream>
#include <string_view>

#include <tessik/foundation/text.hpp>

namespace tessik {

std::ostream& operator<<(std::ostream& os, const AIReview& review) {
  os << "AIReview(file_path=" << repr(review.file_path) << ", line_number=" << review.line_number
     << ", severity=" << repr(std::string_view(review.severity)) << ", issue=" << repr(review.issue)
     << ", suggestion=" << repr(review.suggestion) << ", confidence=" << review.confidence
     << ", category=" << repr(std::string_view(review.category))
     << ", agent_name=" << repr(std::string_view(review.agent_name)) << ", code_replacement=";
  if (review.code_replacement) {
    os << "[";
    for (std::size_t i = 0; i < review.code_replacement->size(); ++i) {
      os << (i == 0 ? "" : ", ") << repr(std::string_view((*review.code_replacement)[i]));
    }
    os << "]";
  } else {
    os << "None";
  }
  return os << ", replacement_line_count=" << review.replacement_line_count
            << ", language=" << repr(std::string_view(review.language)) << ")";
}

}  // namespace tessik
