"""How llama.cpp's server answers, for stub_server.py entries holding "llama".

    {"llama": {"verdict": {...}, "prose": "...", "tool": {"name", "arguments"},
               "context": 16384, "busy": 0}}

Both of its protocols are served (a path ending in "/messages" is the
Messages protocol, any other chat completions), as the server does:
  - a request whose prompt is longer than "context" tokens (a token being
    four bytes of the body here) gets HTTP 400 with the server's message;
  - the first "busy" requests get HTTP 500 "Context size has been exceeded",
    as parallel requests may under load;
  - a reply format (response_format json_schema; output_config.format) is
    compiled into a grammar over the whole reply: the model can only write
    "verdict", even when tools are offered. A verdict that breaks the schema
    it was sent gets HTTP 500, so a test learns of it;
  - otherwise, offered usable tools and no tool result yet, the model calls
    "tool" with a call id of the server's own making;
  - otherwise it answers in "prose", as a small model does.
A request with "stream": true is answered with the protocol's server-sent
events (text and tool arguments in two pieces each), any other as one JSON
body.
"""
import json
import random
import string
import threading

_lock = threading.Lock()
_served = {"count": 0}


def _forced_schema(request, messages_api):
    if messages_api:
        fmt = (request.get("output_config") or {}).get("format") or {}
        return fmt.get("schema") if fmt.get("type") == "json_schema" else None
    fmt = request.get("response_format") or {}
    if fmt.get("type") != "json_schema":
        return None
    return (fmt.get("json_schema") or {}).get("schema")


def _tools_usable(request):
    choice = request.get("tool_choice")
    return bool(request.get("tools")) and choice not in ("none", {"type": "none"})


def _answered(request, messages_api):
    for message in request.get("messages", []):
        if not messages_api and message.get("role") == "tool":
            return True
        content = message.get("content")
        if messages_api and isinstance(content, list):
            if any(b.get("type") == "tool_result" for b in content if isinstance(b, dict)):
                return True
    return False


_TYPES = {"object": dict, "array": list, "string": str, "boolean": bool,
          "null": type(None)}


def _is_type(value, name):
    if name == "integer":
        return isinstance(value, int) and not isinstance(value, bool)
    if name == "number":
        return isinstance(value, (int, float)) and not isinstance(value, bool)
    return isinstance(value, _TYPES[name])


def mismatch(value, schema, at="reply"):
    """How `value` breaks `schema` (the keywords a grammar is built from), or ""."""
    if "anyOf" in schema:
        if all(mismatch(value, s, at) for s in schema["anyOf"]):
            return at + " matches no anyOf branch"
        return ""
    types = schema.get("type")
    if types is not None:
        types = types if isinstance(types, list) else [types]
        if not any(_is_type(value, t) for t in types):
            return at + " is not of type " + "/".join(types)
    if "enum" in schema and value not in schema["enum"]:
        return at + " is not in the enum"
    if isinstance(value, dict):
        props = schema.get("properties", {})
        for key in schema.get("required", []):
            if key not in value:
                return at + " lacks " + key
        for key, item in value.items():
            if key not in props:
                if schema.get("additionalProperties", True) is False:
                    return at + " has the extra key " + key
                continue
            problem = mismatch(item, props[key], at + "." + key)
            if problem:
                return problem
    if isinstance(value, list):
        if len(value) < schema.get("minItems", 0):
            return at + " has too few items"
        for i, item in enumerate(value):
            problem = mismatch(item, schema.get("items", {}), "%s[%d]" % (at, i))
            if problem:
                return problem
    return ""


def _call_id():
    return "".join(random.choices(string.ascii_letters + string.digits, k=32))


def _text(messages_api, text, tokens):
    if messages_api:
        return {"json": {"id": "msg_" + _call_id(), "type": "message", "role": "assistant",
                         "content": [{"type": "text", "text": text}],
                         "stop_reason": "end_turn",
                         "usage": {"input_tokens": tokens, "output_tokens": 12}}}
    return {"json": {"id": "chatcmpl-" + _call_id(), "object": "chat.completion",
                     "choices": [{"index": 0, "finish_reason": "stop",
                                  "message": {"role": "assistant", "content": text}}],
                     "usage": {"prompt_tokens": tokens, "completion_tokens": 12,
                               "total_tokens": tokens + 12}}}


def _tool_call(messages_api, tool, tokens):
    if messages_api:
        return {"json": {"id": "msg_" + _call_id(), "type": "message", "role": "assistant",
                         "content": [{"type": "tool_use", "id": _call_id(),
                                      "name": tool["name"], "input": tool["arguments"]}],
                         "stop_reason": "tool_use",
                         "usage": {"input_tokens": tokens, "output_tokens": 20}}}
    call = {"type": "function", "id": _call_id(),
            "function": {"name": tool["name"], "arguments": json.dumps(tool["arguments"])}}
    return {"json": {"id": "chatcmpl-" + _call_id(), "object": "chat.completion",
                     "choices": [{"index": 0, "finish_reason": "tool_calls",
                                  "message": {"role": "assistant", "content": None,
                                              "tool_calls": [call]}}],
                     "usage": {"prompt_tokens": tokens, "completion_tokens": 20,
                               "total_tokens": tokens + 20}}}


def _error(status, message, **extra):
    error = {"code": status, "message": message}
    error.update(extra)
    return {"status": status, "json": {"error": error}}


def _sse(event, data):
    head = "event: %s\n" % event if event else ""
    return [0, head + "data: " + (data if isinstance(data, str) else json.dumps(data)) + "\n\n"]


def _halves(text):
    return [text[:len(text) // 2], text[len(text) // 2:]]


def _chat_events(reply):
    choice = reply["choices"][0]
    message = choice["message"]
    base = {"id": reply["id"], "object": "chat.completion.chunk"}

    def chunk(delta, finish=None):
        return _sse(None, dict(base, choices=[{"index": 0, "delta": delta,
                                               "finish_reason": finish}]))
    events = [chunk({"role": "assistant", "content": None})]
    if message["content"]:
        events.extend(chunk({"content": piece}) for piece in _halves(message["content"]))
    for i, call in enumerate(message.get("tool_calls", [])):
        first, second = _halves(call["function"]["arguments"])
        events.append(chunk({"tool_calls": [{"index": i, "id": call["id"], "type": "function",
                                             "function": {"name": call["function"]["name"],
                                                          "arguments": first}}]}))
        events.append(chunk({"tool_calls": [{"index": i, "function": {"arguments": second}}]}))
    events.append(chunk({}, choice["finish_reason"]))
    events.append(_sse(None, dict(base, choices=[], usage=reply["usage"])))
    events.append(_sse(None, "[DONE]"))
    return events


def _messages_events(reply):
    start = dict(reply, content=[], stop_reason=None,
                 usage={"input_tokens": reply["usage"]["input_tokens"], "output_tokens": 0})
    events = [_sse("message_start", {"type": "message_start", "message": start})]
    for i, block in enumerate(reply["content"]):
        if block["type"] == "text":
            opened, kind, key, whole = dict(block, text=""), "text_delta", "text", block["text"]
        else:
            opened, kind, key = dict(block, input={}), "input_json_delta", "partial_json"
            whole = json.dumps(block["input"])
        events.append(_sse("content_block_start", {"type": "content_block_start", "index": i,
                                                   "content_block": opened}))
        for piece in _halves(whole):
            events.append(_sse("content_block_delta", {"type": "content_block_delta",
                                                       "index": i,
                                                       "delta": {"type": kind, key: piece}}))
        events.append(_sse("content_block_stop", {"type": "content_block_stop", "index": i}))
    events.append(_sse("message_delta", {"type": "message_delta",
                                         "delta": {"stop_reason": reply["stop_reason"],
                                                   "stop_sequence": None},
                                         "usage": {"output_tokens":
                                                   reply["usage"]["output_tokens"]}}))
    events.append(_sse("message_stop", {"type": "message_stop"}))
    return events


def answer(settings, path, body):
    """The stub entry with which the server answers: {"status", "json"} or
    {"stream"} (see stub_server.py)."""
    entry = _answer(settings, path, body)
    request = json.loads(body)
    if request.get("stream") is True and entry.get("status", 200) == 200:
        messages_api = path.rstrip("/").endswith("/messages")
        reply = entry["json"]
        return {"stream": _messages_events(reply) if messages_api else _chat_events(reply)}
    return entry


def _answer(settings, path, body):
    request = json.loads(body)
    messages_api = path.rstrip("/").endswith("/messages")
    tokens = len(body.encode("utf-8")) // 4
    context = settings.get("context", 1 << 30)
    if tokens > context:
        return _error(400, "request (%d tokens) exceeds the available context size (%d tokens)"
                      % (tokens, context), type="exceed_context_size_error",
                      n_prompt_tokens=tokens, n_ctx=context)
    with _lock:
        _served["count"] += 1
        busy = _served["count"] <= settings.get("busy", 0)
    if busy:
        return _error(500, "Context size has been exceeded", type="server_error")
    schema = _forced_schema(request, messages_api)
    if schema is not None:
        problem = mismatch(settings["verdict"], schema)
        if problem:
            return _error(500, "the forced reply breaks the schema sent: " + problem)
        return _text(messages_api, json.dumps(settings["verdict"]), tokens)
    if _tools_usable(request) and not _answered(request, messages_api):
        return _tool_call(messages_api, settings["tool"], tokens)
    return _text(messages_api, settings["prose"], tokens)
