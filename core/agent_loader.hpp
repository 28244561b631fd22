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
// Loading (loading.hpp) reads the built-in agents that ship with the library
// and the project's custom agents; each agent's `analyse` (agent.hpp) sends
// one review request through the caller's client and returns a verdict
// (verdict.hpp). Definition files and their parsers are in parsers.hpp, the
// definition record in definition.hpp. Failures are thrown as the kinds of
// errors.hpp; log lines go to the channels of logging_channels.hpp.
#ifndef TESSIK_AGENT_LOADER_HPP_
#define TESSIK_AGENT_LOADER_HPP_

#include "agent_loader/agent.hpp"
#include "agent_loader/const_table.hpp"
#include "agent_loader/definition.hpp"
#include "agent_loader/definition_file.hpp"
#include "agent_loader/findings.hpp"
#include "agent_loader/front_matter.hpp"
#include "agent_loader/guard_rails.hpp"
#include "agent_loader/loading.hpp"
#include "agent_loader/parsers.hpp"
#include "agent_loader/paths.hpp"
#include "agent_loader/request.hpp"
#include "agent_loader/verdict.hpp"
#include "ai_client.hpp"
#include "errors.hpp"
#include "logging_channels.hpp"
#include "models.hpp"
#include "text.hpp"
#include "value.hpp"

#endif  // TESSIK_AGENT_LOADER_HPP_
