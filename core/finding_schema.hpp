// The output configuration that holds a model's reply to the three reply
// shapes agents ask for.
//
// A client that supports structured output passes it with the request so that
// the model can only answer in one of the three shapes:
//
//   {"status": "findings", "findings": [<finding>, ...], "summary": "..."}
//   {"status": "clean", "summary": "...", "confidence": 0.9}
//   {"status": "error", "error": {"code": "...", "message": "...", "iterations_used": 0}}
//
// The configuration is a mapping {"name": "three_state_review_reply",
// "schema": <schema>}: a name a client can report constraint failures by, and
// a JSON Schema that both model protocols accept in their strict modes. Its
// root is one closed object whose "status" (findings, clean or error) says
// which of the other members carry the reply:
//
//   {"status", "findings", "summary", "confidence", "error"}
//
// Every member of every object is required; a member a shape does not use is
// null (written as "anyOf" of its schema and {"type": "null"}), as are a
// finding's "code_replacement" and "replacement_line_count" and an error's
// "iterations_used" when they do not apply. Every object is closed
// (additionalProperties false), so a misspelt key is refused rather than
// silently dropped. Only keywords strict modes share are used: type,
// properties, required, additionalProperties, enum, items, anyOf and
// minItems 1; no length or numeric range (confidence 0..1 is left to the
// reply contract). An error's "code" is one of the four codes the reply
// contract names (tool_unavailable, model_refusal, internal_error,
// max_iterations_no_verdict). A client translates this into whatever its
// model interface expects.
//
// The schema only guides generation: which members a status needs (a
// non-empty findings array, a non-blank summary, ...) is still judged by the
// reply classifier, which also judges replies from clients that cannot apply
// the schema and ignores members a shape does not use.
#ifndef TESSIK_FINDING_SCHEMA_HPP_
#define TESSIK_FINDING_SCHEMA_HPP_

#include <tessik/foundation/value.hpp>

namespace tessik {

// A fresh output configuration for the three reply shapes (see above).
// Safe to call from several threads; each call returns its own Value.
Value output_config_for_three_state();

}  // namespace tessik

#endif  // TESSIK_FINDING_SCHEMA_HPP_
