// Splitting a Markdown definition text into its YAML front-matter and body.
//
//   ---
//   name: reviewer-x          <- front-matter (YAML)
//   ---
//   Check the diff.           <- body
//
// The text must match, at its very start, the pattern
//
//   ^---\s*\n(.*?)\n---\s*\n(.*)        (dot matches line feeds)
//
// with "\s" the library's white-space set (text.hpp). Group 1 is the
// front-matter, group 2 the body. What follows from that:
//   - the front-matter ends at the first closing "---" line; a later "---"
//     line belongs to the body, and a line of four dashes closes nothing;
//   - the closing line needs its own line end: a text whose last line is the
//     closing "---" has no front-matter;
//   - blank lines right after either delimiter are swallowed; indentation of
//     the first front-matter line and of the first body line is kept;
//   - "---", an empty line, "---" is an empty front-matter, but "---"
//     directly followed by "---" is none;
//   - a blank first line, a byte-order mark before the dashes, or a first
//     line "---name" means no front-matter.
// Line ends are LF: read the file with `read_text_file`, which turns CR LF
// and lone CR into LF, before splitting.
#ifndef TESSIK_AGENT_LOADER_DEFINITIONS_DETAIL_FRONT_MATTER_HPP_
#define TESSIK_AGENT_LOADER_DEFINITIONS_DETAIL_FRONT_MATTER_HPP_

#include <cstddef>
#include <optional>
#include <string_view>

#include <tessik/foundation/errors.hpp>

namespace tessik::detail {

// The two parts of a Markdown definition text, as views into it.
struct FrontMatterSplit {
  std::string_view front_matter;  // the YAML between the delimiter lines
  std::string_view body;          // everything after the closing line, untrimmed
};

// Splits `text` as described above, or returns nullopt when it has no
// front-matter. Runs in time linear in the text's length, whatever the text;
// thread-safe (the pattern is compiled once and shared).
std::optional<FrontMatterSplit> split_front_matter(std::string_view text);

// Where byte `offset` of the LF-ended `text` stands (line and column from 1,
// columns in characters).
TextPosition position_of_offset(std::string_view text, std::size_t offset);

}  // namespace tessik::detail

#endif  // TESSIK_AGENT_LOADER_DEFINITIONS_DETAIL_FRONT_MATTER_HPP_
