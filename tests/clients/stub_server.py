#!/usr/bin/env python3
"""A scripted model server for the client tests, on 127.0.0.1.

    stub_server.py SCRIPT RECORD

SCRIPT is a JSON file {"replies": [entry, ...]}. For each request the first
entry that matches and has uses left answers it. An entry may hold:
    when / unless   text the request body must / must not contain
    times           how many requests it answers (default: any number)
    status          HTTP status (default 200)
    headers         extra response headers
    json            a JSON value sent as the body
    body            a text sent as the body
    repeat          with body: how many times the body text is repeated
    delay           seconds to wait before answering (a model's think time)
    stream          a list of [seconds, text] pairs: the body is sent as
                    text/event-stream in chunks, each text after waiting
                    its seconds (with repeat: the list that many times)
    llama           answer as llama.cpp's server would (see llama_server.py);
                    the other fields are then ignored
    action          "hang": never answer; "close": close the connection
                    without answering; "truncate": announce more bytes than
                    are sent, then close; "unannounced": send no length
                    and close the connection after the body
A request that no entry answers gets status 599.

Every request is appended to RECORD as one JSON line, before it is answered:
{"method", "path", "headers": [[name, value], ...], "body", "time",
"peer_port"}; a RECORD of "-" records nothing. The chosen port and the process id are printed as "PORT <n> PID <pid>" on standard output.
"""
import json
import os
import sys
import threading
import time
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import llama_server  # noqa: E402


class Script:
    def __init__(self, path):
        with open(path, encoding="utf-8") as f:
            self.entries = json.load(f)["replies"]
        self.lock = threading.Lock()

    def pick(self, body):
        with self.lock:
            for entry in self.entries:
                if "when" in entry and entry["when"] not in body:
                    continue
                if "unless" in entry and entry["unless"] in body:
                    continue
                if "times" in entry:
                    if entry["times"] <= 0:
                        continue
                    entry["times"] -= 1
                return entry
        return {"status": 599, "body": "no scripted reply"}


class Recorder:
    def __init__(self, path):
        self.file = None if path == "-" else open(path, "a", encoding="utf-8")
        self.lock = threading.Lock()

    def record(self, entry):
        if self.file is None:
            return
        with self.lock:
            self.file.write(json.dumps(entry) + "\n")
            self.file.flush()


def make_handler(script, recorder):
    class Handler(BaseHTTPRequestHandler):
        protocol_version = "HTTP/1.1"
        disable_nagle_algorithm = True  # headers and body leave at once

        def log_message(self, *args):
            pass

        def do_POST(self):
            length = int(self.headers.get("Content-Length", "0"))
            raw = self.rfile.read(length)
            body = raw.decode("utf-8", errors="replace")
            recorder.record({
                "method": "POST",
                "path": self.path,
                "headers": [[k, v] for k, v in self.headers.items()],
                "body": body,
                "time": time.monotonic(),
                "peer_port": self.client_address[1],
            })
            entry = script.pick(body)
            if "llama" in entry:
                entry = llama_server.answer(entry["llama"], self.path, body)
            self.answer(entry)

        def answer(self, entry):
            if entry.get("delay"):
                time.sleep(entry["delay"])
            action = entry.get("action")
            if action == "hang":
                time.sleep(3600)
                return
            if action == "close":
                self.close_connection = True
                return
            if "stream" in entry:
                self.stream(entry)
                return
            if "json" in entry:
                payload = json.dumps(entry["json"]).encode("utf-8")
            else:
                text = entry.get("body", "") * entry.get("repeat", 1)
                payload = text.encode("utf-8", errors="surrogateescape")
            self.send_response(entry.get("status", 200))
            for name, value in entry.get("headers", {}).items():
                self.send_header(name, value)
            if "json" in entry and "Content-Type" not in entry.get("headers", {}):
                self.send_header("Content-Type", "application/json")
            extra = 100 if action == "truncate" else 0
            if action == "unannounced":
                self.close_connection = True
                self.send_header("Connection", "close")
            else:
                self.send_header("Content-Length", str(len(payload) + extra))
            self.end_headers()
            self.wfile.write(payload)
            self.wfile.flush()
            if action == "truncate":
                self.close_connection = True

        def stream(self, entry):
            self.send_response(entry.get("status", 200))
            headers = {"Content-Type": "text/event-stream"}
            headers.update(entry.get("headers", {}))
            for name, value in headers.items():
                self.send_header(name, value)
            self.send_header("Transfer-Encoding", "chunked")
            self.end_headers()
            self.wfile.flush()
            try:
                for seconds, text in entry["stream"] * entry.get("repeat", 1):
                    if seconds:
                        time.sleep(seconds)
                    data = text.encode("utf-8")
                    if data:  # an empty chunk would end the body
                        self.wfile.write(b"%x\r\n%s\r\n" % (len(data), data))
                    self.wfile.flush()
                self.wfile.write(b"0\r\n\r\n")
                self.wfile.flush()
            except (BrokenPipeError, ConnectionResetError):
                self.close_connection = True

    return Handler


def main():
    script = Script(sys.argv[1])
    recorder = Recorder(sys.argv[2])
    server = ThreadingHTTPServer(("127.0.0.1", 0), make_handler(script, recorder))
    server.daemon_threads = True
    print("PORT %d PID %d" % (server.server_address[1], os.getpid()), flush=True)
    server.serve_forever()


if __name__ == "__main__":
    main()
