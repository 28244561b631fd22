// Prepending the shared guard rails to a built-in agent's system prompt.
//
// The built-in reviewer agents share one Markdown document,
// agents/_shared/guard_rails.md, which every one of their prompts carries in
// front of the agent's own instructions. A prompt may also hold anti-pattern
// items of its own in an HTML comment that starts with the word
// "ANTI-PATTERNS"; those items are moved into the document's
// "## Anti-patterns" section. With the document
//
//   "# Guard Rails for Reviewer Agents\n\n## Anti-patterns\n\n- g1\n\n## Output\n\nrules\n"
//
// the prompt "You are X.\n\n<!-- ANTI-PATTERNS\n- a1\n-->\n\nReview." becomes
//
//   "# Guard Rails for Reviewer Agents\n\n## Anti-patterns\n\n- g1\n\n\n- a1\n\n"
//   "## Output\n\nrules\n\n\nYou are X.\n\n\n\nReview."
//
// The merge, step by step:
//  1. A prompt that already contains the title "# Guard Rails for Reviewer
//     Agents" anywhere is returned unchanged; nothing is read or logged. So
//     the merge applied to its own result changes nothing.
//  2. The document is read afresh on every call (never cached).
//  3. The agent's block is the leftmost "<!--", white space, "ANTI-PATTERNS"
//     (case-sensitive), up to the first "-->" after that word. Without one,
//     the result is document + "\n\n" + prompt.
//  4. The block is cut out of the prompt; nothing is trimmed at the seam.
//  5. Its items: the block trimmed, "<!--" and "-->" dropped, trimmed again,
//     then a header line "ANTI-PATTERNS[-_A-Z]*" removed when white space
//     holding a line feed follows it (up to and including the run's last
//     line feed; the first item's indentation stays). Any other header
//     ("ANTI-PATTERNS:", one with text after it on its line, one that ends
//     the block) stays part of the items.
//  6. The items go in at the end of the section that the first
//     "## Anti-patterns" (a plain substring: "### Anti-patterns" counts)
//     opens, that is before the next line that begins with "## ", or at the
//     end of the document: "\n" + items + "\n\n" are inserted there. Without
//     that heading, "\n\n## Anti-patterns\n\n" + items is appended.
//  7. The result is the merged document + "\n\n" + the prompt without its
//     block.
//
// Warnings on `Log::agent` (the merge never fails for want of a document):
//   - the document does not exist (a dangling link counts as absent):
//     "[tessik]     guard_rails.md missing at <path> — reviewer prompts will
//     not include guard rails"; the prompt is returned unchanged;
//   - the document cannot be read or is not UTF-8: "[tessik]     failed to
//     read guard_rails.md (<class name>): <description>" with the failure's
//     `class_name()` ("UnicodeDecodeError", "IsADirectoryError", ...); the
//     prompt is returned unchanged;
//   - the document has no "## Anti-patterns" while the prompt has a block:
//     "[tessik]     guard_rails.md missing '## Anti-patterns' section;
//     appending per-agent block at end of guard-rails"; the merge goes on.
//
// Any prompt text yields a result; the block search is linear in the
// prompt's length however many unclosed "<!-- ANTI-PATTERNS" it holds.
// Thread-safe: no state is kept between calls.
#ifndef TESSIK_AGENT_LOADER_DEFINITIONS_DETAIL_GUARD_RAILS_HPP_
#define TESSIK_AGENT_LOADER_DEFINITIONS_DETAIL_GUARD_RAILS_HPP_

#include <filesystem>
#include <string>
#include <string_view>

namespace tessik::detail {

// The title line of the guard-rails document; its presence anywhere in a
// prompt marks the prompt as already merged.
inline constexpr std::string_view GUARD_RAILS_SENTINEL = "# Guard Rails for Reviewer Agents";

// The merged prompt for `system_prompt` with the document at
// `shared_guard_rails_path()` (paths.hpp). Throws FileSystemError only when
// the existence test itself fails for a reason other than absence (such as a
// directory on the path that may not be searched).
std::string prepend_guard_rails(std::string_view system_prompt);

// The same with the document at `guard_rails_path`, for tests and tools.
std::string prepend_guard_rails(std::string_view system_prompt,
                                const std::filesystem::path& guard_rails_path);

}  // namespace tessik::detail

#endif  // TESSIK_AGENT_LOADER_DEFINITIONS_DETAIL_GUARD_RAILS_HPP_
