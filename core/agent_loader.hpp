// The reviewer agents library in one include.
//
//   #include <tessik/agent_loader.hpp>
//
//   class MyClient : public tessik::AIClient { ... };
//
//   tessik::AIConfig config{.ai_max_tokens = 4096, .custom_agents_dir = ".review/agents"};
//   auto agents = tessik::load_all_agents(config, std::make_shared<MyClient>());
//   for (const auto& agent : agents) {
//     tessik::AgentVerdict verdict = agent.analyse(changes);
//     if (verdict.is_findings()) {
//       for (const tessik::AIReview& finding : verdict) report(finding);
//     }
//   }
//
// The four subsystems each have a folder under agent_loader/:
//   definitions/  the definition record, the file parsers and directory
//                 loading (directory_loading.hpp: load_all_agents, ...)
//   execution/    the runnable agent and its analysis (loaded_agent.hpp)
//   verdict/      the three-state outcome of one review (agent_verdict.hpp)
//   findings/     finding normalisation (code_replacement.hpp)
// The surrounding program's interfaces that the library codes against (the
// AI client, the reply classifier, the output schema, language detection,
// the records and the logging channels) sit beside agent_loader/ under their
// own names; foundation/ holds the value type, failure kinds, text rules,
// YAML and JSON. Headers under a detail/ folder are internal and are not
// installed.
#ifndef TESSIK_AGENT_LOADER_HPP_
#define TESSIK_AGENT_LOADER_HPP_

#include <tessik/agent_loader/definitions/agent_definition.hpp>
#include <tessik/agent_loader/definitions/directory_loading.hpp>
#include <tessik/agent_loader/definitions/parsers.hpp>
#include <tessik/agent_loader/execution/loaded_agent.hpp>
#include <tessik/agent_loader/findings/code_replacement.hpp>
#include <tessik/agent_loader/verdict/agent_verdict.hpp>
#include <tessik/ai_client.hpp>
#include <tessik/diff_parser.hpp>
#include <tessik/finding_schema.hpp>
#include <tessik/foundation/errors.hpp>
#include <tessik/foundation/json.hpp>
#include <tessik/foundation/limits.hpp>
#include <tessik/foundation/text.hpp>
#include <tessik/foundation/value.hpp>
#include <tessik/foundation/yaml.hpp>
#include <tessik/logging_channels.hpp>
#include <tessik/models.hpp>
#include <tessik/terminal_state.hpp>

#endif  // TESSIK_AGENT_LOADER_HPP_
