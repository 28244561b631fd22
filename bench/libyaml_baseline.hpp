// The baseline of the loading benchmarks: libyaml's raw event parse of a
// text, with no tree built, which is the floor any YAML loader pays.
#ifndef TESSIK_BENCH_LIBYAML_BASELINE_HPP_
#define TESSIK_BENCH_LIBYAML_BASELINE_HPP_

#include <yaml.h>

#include <string_view>

namespace tessik_bench {

// Parses `text` to its last event (or its first error) and throws the
// events away.
inline void raw_parse(std::string_view text) {
  yaml_parser_t parser;
  yaml_parser_initialize(&parser);
  yaml_parser_set_input_string(&parser, reinterpret_cast<const unsigned char*>(text.data()),
                               text.size());
  yaml_event_t event;
  bool done = false;
  while (!done && yaml_parser_parse(&parser, &event) != 0) {
    done = event.type == YAML_STREAM_END_EVENT;
    yaml_event_delete(&event);
  }
  yaml_parser_delete(&parser);
}

}  // namespace tessik_bench

#endif  // TESSIK_BENCH_LIBYAML_BASELINE_HPP_
