// GitHub workflow commands: the `::error file=...::message` lines a workflow
// step prints to annotate files, shared by `validate` and `review`.
//
//   os << annotation_line({.level = "warning", .file = "a.py", .line = 3,
//                          .title = "hesper/security", .message = "Unsafe SQL"});
//   // ::warning file=a.py,line=3,title=hesper/security::Unsafe SQL
#ifndef TESSIK_TOOLS_REPORT_WORKFLOW_COMMAND_HPP_
#define TESSIK_TOOLS_REPORT_WORKFLOW_COMMAND_HPP_

#include <cstdint>
#include <string>
#include <string_view>

namespace tessik::cli {

// Escapes `text` as GitHub documents for workflow commands: "%", CR and LF
// always; in a property value (`property`) also ":" and ",".
std::string workflow_escape(std::string_view text, bool property);

struct Annotation {
  std::string_view level{};  // "error", "warning" or "notice"
  std::string_view file{};
  std::int64_t line = 0;      // 0: none
  std::int64_t end_line = 0;  // 0: none; given only when past `line`
  std::int64_t column = 0;    // 0: none
  std::string_view title{};
  std::string_view message{};
};

// "::LEVEL file=F,line=L,endLine=E,col=C,title=T::MESSAGE", each property
// and the message escaped; properties that are 0 or empty are left out.
std::string annotation_line(const Annotation& a);

}  // namespace tessik::cli

#endif  // TESSIK_TOOLS_REPORT_WORKFLOW_COMMAND_HPP_
