// The output configuration that holds a model's reply to the three reply
// shapes agents ask for.
//
// A client that supports structured output passes it with the request so that
// the model can only answer with one of:
//
//   {"status": "findings", "findings": [<finding>, ...], "summary": "..."}
//   {"status": "clean", "summary": "...", "confidence": 0.9}
//   {"status": "error", "error": {"code": "...", "message": "...", "iterations_used": 0}}
//
// The configuration is a mapping {"name": "three_state_review_reply",
// "schema": <schema>}: a name a client can report constraint failures by, and
// a JSON Schema using only the common keywords (type, properties, required,
// additionalProperties, enum, items, minItems, minLength, anyOf) whose top
// level is an "anyOf" of the three shapes. Every object is closed
// (additionalProperties false), so a misspelt key is refused rather than
// silently dropped. An error's "code" is one of the four codes the reply
// contract names (tool_unavailable, model_refusal, internal_error,
// max_iterations_no_verdict). Numeric ranges (confidence 0..1) are left out because
// constrained decoders commonly refuse them. A client translates this into
// whatever its model interface expects.
//
// The schema is stricter than the reply classifier on purpose: it is a
// constraint on generation, while the classifier still has to judge replies
// from clients that cannot apply it.
#ifndef TESSIK_FINDING_SCHEMA_HPP_
#define TESSIK_FINDING_SCHEMA_HPP_

#include <tessik/foundation/value.hpp>

namespace tessik {

// A fresh output configuration for the three reply shapes (see above).
// Safe to call from several threads; each call returns its own Value.
Value output_config_for_three_state();

}  // namespace tessik

#endif  // TESSIK_FINDING_SCHEMA_HPP_
