// A findings reply of a given number of items, in the shape the reply
// contract asks for, shared by the JSON and finding benchmarks. Each item is
// about 350 bytes: 10 items make about 4 KB, 1,000 about 350 KB and 10,000
// about 3.5 MB.
#ifndef TESSIK_BENCH_FINDINGS_REPLY_HPP_
#define TESSIK_BENCH_FINDINGS_REPLY_HPP_

#include <string>

namespace tessik_bench {

// Every third item carries a code replacement.
inline std::string findings_reply(int count) {
  std::string out = R"j({"status": "findings", "findings": [)j";
  for (int i = 0; i < count; ++i) {
    if (i > 0) out += ',';
    out +=
        R"j({"file_path": "src/orders/service_)j" + std::to_string(i % 50) +
        R"j(.py", "line_number": )j" + std::to_string(10 + i) +
        R"j(, "severity": "medium", "issue": "The loop issues one query per order, so the page cost grows with the order count.", "suggestion": "Load the items of all orders in one query and group them in memory.", "confidence": 0.85, "category": "performance")j";
    if (i % 3 == 0) {
      out +=
          R"j(, "code_replacement": ["    items = load_items(order_ids)", "    for order in orders:"], "replacement_line_count": 2)j";
    }
    out += '}';
  }
  return out + R"j(], "summary": "Reviewed the order queries."})j";
}

}  // namespace tessik_bench

#endif  // TESSIK_BENCH_FINDINGS_REPLY_HPP_
