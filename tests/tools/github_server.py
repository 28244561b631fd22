"""A loopback stand-in for the GitHub REST endpoints `review --post github`
uses, checking every payload as GitHub would:

  GET  /repos/O/R/pulls/N                  {"head": {"sha"}}
  GET  /repos/O/R/pulls/N/comments         review comments, paginated
  GET  /repos/O/R/pulls/N/reviews          reviews, paginated
  POST /repos/O/R/pulls/N/reviews          a review with its inline comments
  PUT  /repos/O/R/pulls/N/reviews/ID       a review's new body

A request without the token, a User-Agent or valid JSON, for another pull
request, with a commit other than the head, or with a comment on a line the
diff does not show is refused as GitHub refuses it. `fail` scripts answers:
{"METHOD /path-prefix": [status, message]} is given instead of the real one.
"""
import json
import re
import threading
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer
from urllib.parse import parse_qs, urlparse

MAX_BODY = 65536


class GitHub:
    def __init__(self, token, owner, repo, number, head, shown):
        self.token, self.head, self.shown = token, head, shown  # shown: {path: [(first, last)]}
        self.prefix = f"/repos/{owner}/{repo}/pulls/{number}"
        self.reviews, self.comments, self.requests, self.fail = [], [], [], {}
        self.lock = threading.Lock()
        self.server = ThreadingHTTPServer(("127.0.0.1", 0), self._handler())
        threading.Thread(target=self.server.serve_forever, daemon=True).start()

    @property
    def url(self):
        return f"http://127.0.0.1:{self.server.server_port}"

    def close(self):
        self.server.shutdown()
        self.server.server_close()

    def writes(self):
        return [r for r in self.requests if r["method"] != "GET"]

    def _handler(self):
        gh = self

        class Handler(BaseHTTPRequestHandler):
            def log_message(self, *args):
                pass

            def _answer(self, status, value):
                data = json.dumps(value).encode()
                self.send_response(status)
                self.send_header("Content-Type", "application/json")
                self.send_header("Content-Length", str(len(data)))
                if status == 429:
                    self.send_header("Retry-After", "0")
                self.end_headers()
                self.wfile.write(data)

            def _serve(self, method):
                length = int(self.headers.get("Content-Length") or 0)
                raw = self.rfile.read(length).decode()
                url = urlparse(self.path)
                with gh.lock:
                    gh.requests.append({"method": method, "path": url.path, "body": raw,
                                        "headers": dict(self.headers)})
                    status, value = gh.answer(method, url, raw, self.headers)
                self._answer(status, value)

            def do_GET(self):
                self._serve("GET")

            def do_POST(self):
                self._serve("POST")

            def do_PUT(self):
                self._serve("PUT")

        return Handler

    def answer(self, method, url, raw, headers):
        for key, (status, message) in self.fail.items():
            m, prefix = key.split(" ", 1)
            if m == method and url.path.startswith(prefix):
                return status, {"message": message}
        if headers.get("Authorization") != f"Bearer {self.token}":
            return 401, {"message": "Bad credentials"}
        if not headers.get("User-Agent"):
            return 403, {"message": "Request forbidden by administrative rules"}
        if not url.path.startswith(self.prefix):
            return 404, {"message": "Not Found"}
        rest = url.path[len(self.prefix):]
        query = parse_qs(url.query)
        page = int(query.get("page", ["1"])[0])
        per_page = min(int(query.get("per_page", ["30"])[0]), 100)
        if method == "GET" and rest == "":
            return 200, {"number": 1, "head": {"sha": self.head}}
        if method == "GET" and rest in ("/comments", "/reviews"):
            items = self.comments if rest == "/comments" else self.reviews
            return 200, items[(page - 1) * per_page:page * per_page]
        body = json.loads(raw)
        if method == "POST" and rest == "/reviews":
            return self.create_review(body)
        m = re.fullmatch(r"/reviews/(\d+)", rest)
        if method == "PUT" and m:
            review = next((r for r in self.reviews if r["id"] == int(m.group(1))), None)
            if review is None:
                return 404, {"message": "Not Found"}
            if set(body) != {"body"} or len(body["body"]) > MAX_BODY:
                return 422, {"message": "Validation Failed"}
            review["body"] = body["body"]
            return 200, review
        return 404, {"message": "Not Found"}

    def create_review(self, body):
        if body.get("commit_id") != self.head:
            return 422, {"message": "Unprocessable Entity",
                         "errors": ["commit_id is not part of the pull request"]}
        if body.get("event") != "COMMENT" or len(body.get("body", "")) > MAX_BODY:
            return 422, {"message": "Validation Failed"}
        for c in body.get("comments", []):
            first, last = c.get("start_line", c["line"]), c["line"]
            spans = self.shown.get(c["path"], [])
            inside = any(a <= first and last <= b for a, b in spans)
            sides = c["side"] == "RIGHT" and c.get("start_side", "RIGHT") == "RIGHT"
            if not inside or not sides or first > last or len(c["body"]) > MAX_BODY:
                return 422, {"message": "Unprocessable Entity",
                             "errors": ["pull_request_review_thread.line must be part of the diff"]}
        review = {"id": len(self.reviews) + 1, "body": body.get("body", ""),
                  "commit_id": body["commit_id"]}
        self.reviews.append(review)
        for c in body.get("comments", []):
            self.comments.append(dict(c, id=len(self.comments) + 1,
                                      pull_request_review_id=review["id"]))
        return 200, review
