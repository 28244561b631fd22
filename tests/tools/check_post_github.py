#!/usr/bin/env python3
"""`review --post github` end to end against github_server.py on 127.0.0.1:
the first review, a re-run that updates instead of duplicating, batching past
the comment limit, --since-last-review, and every refusal.

usage: check_post_github.py TOOL SOURCE_DIR
"""
import json
import os
import shutil
import subprocess
import sys
import tempfile
import unittest

sys.path.insert(0, os.path.dirname(__file__))
from github_server import GitHub  # noqa: E402

TOOL, SOURCE = sys.argv[1], sys.argv[2]
EXAMPLES = os.path.join(SOURCE, "examples")
TOKEN = "ghs_s3cr3tT0k3nValue"
HEAD = "a" * 40
SHOWN = {"migrations/0008_order_notes.sql": [(1, 4)], "shop/formatting.py": [(9, 15)],
         "shop/orders.py": [(12, 39)], "shop/report.py": [(1, 21)]}


def finding(path, line, issue, count=1, replacement=None):
    return {"file_path": path, "line_number": line, "severity": "medium", "issue": issue,
            "suggestion": "s", "confidence": 0.9, "category": "performance",
            "code_replacement": replacement, "replacement_line_count": count}


class PostGithub(unittest.TestCase):
    def setUp(self):
        self.dir = tempfile.mkdtemp()
        self.gh = GitHub(TOKEN, "acme", "shop", 7, HEAD, SHOWN)
        self.replies = os.path.join(self.dir, "replies")
        shutil.copytree(os.path.join(EXAMPLES, "replies"), self.replies)
        self.event = self.write("event.json", {"action": "synchronize", "pull_request": {
            "number": 7, "head": {"sha": HEAD}}})

    def tearDown(self):
        self.gh.close()
        shutil.rmtree(self.dir)

    def write(self, name, value):
        path = os.path.join(self.dir, name)
        with open(path, "w") as f:
            json.dump(value, f)
        return path

    def review(self, *args, env=None, diff=None, replies=None):
        environ = {"PATH": os.environ["PATH"], "GITHUB_TOKEN": TOKEN,
                   "GITHUB_REPOSITORY": "acme/shop", "GITHUB_EVENT_PATH": self.event,
                   "GITHUB_API_URL": self.gh.url + "/", **(env or {})}
        source = ["--diff", diff or os.path.join(EXAMPLES, "change.diff")] if diff != "" else []
        r = subprocess.run([TOOL, "review", *source, "--replies", replies or self.replies,
                            "--post", "github", *args], capture_output=True, text=True,
                           env=environ, cwd=self.dir)
        self.assertNotIn(TOKEN, r.stdout + r.stderr)
        return r

    def test_first_review_then_reruns_update_instead_of_duplicating(self):
        with open(os.path.join(self.replies, "wynn.json")) as f:
            wynn = json.load(f)
        wynn["findings"].append(finding("shop/orders.py", 5, "outside the hunk @here"))
        self.write("replies/wynn.json", wynn)
        r = self.review()
        self.assertEqual(r.returncode, 1, r.stderr)  # corvin's error verdict
        self.assertIn("Posted a review on acme/shop#7: 3 new inline comments, "
                      "1 findings outside the changed lines in the summary.", r.stderr)
        (post,) = self.gh.writes()
        sent = json.loads(post["body"])
        self.assertEqual(post["path"], "/repos/acme/shop/pulls/7/reviews")
        self.assertEqual(post["headers"]["Authorization"], "Bearer " + TOKEN)
        self.assertEqual((sent["commit_id"], sent["event"]), (HEAD, "COMMENT"))
        self.assertIn("<!-- tessik-agents:summary head=" + HEAD + " -->", sent["body"])
        self.assertIn("outside the hunk @\u200bhere", sent["body"])
        self.assertIn("| corvin | error max_iterations_no_verdict", sent["body"])
        first = sent["comments"][0]
        self.assertEqual((first["path"], first["start_line"], first["line"], first["side"]),
                         ("shop/orders.py", 20, 24, "RIGHT"))
        self.assertIn("```suggestion\n~~~python\n", first["body"])
        self.assertNotIn("start_line", sent["comments"][2])

        self.gh.requests.clear()
        self.review()
        (put,) = self.gh.writes()
        self.assertEqual((put["method"], put["path"]), ("PUT", "/repos/acme/shop/pulls/7/reviews/1"))
        self.assertEqual(len(self.gh.comments), 3)

        wynn["findings"][0]["issue"] = "reworded: one query per order"
        self.write("replies/wynn.json", wynn)
        self.gh.requests.clear()
        r = self.review()
        self.assertIn("Updated the review summary on acme/shop#7: 1 new inline comments, "
                      "2 already posted", r.stderr)
        self.assertEqual([w["method"] for w in self.gh.writes()], ["PUT", "POST"])
        self.assertEqual(len(self.gh.reviews), 2)

    def test_batches_past_the_comment_limit(self):
        lines = "".join(f"+line {i}\n" for i in range(1, 301))
        diff = os.path.join(self.dir, "big.diff")
        with open(diff, "w") as f:
            f.write("diff --git a/big.py b/big.py\nnew file mode 100644\n--- /dev/null\n"
                    f"+++ b/big.py\n@@ -0,0 +1,300 @@\n{lines}")
        self.gh.shown = {"big.py": [(1, 300)]}
        self.write("replies/wynn.json", {"status": "findings", "summary": "s", "findings": [
            finding("big.py", i, f"issue {i}") for i in range(1, 231)]})
        r = self.review(diff=diff)
        self.assertIn("200 new inline comments in 4 reviews of at most 50, 30 past the limit "
                      "of 200 inline comments put in the summary", r.stderr)
        counts = [len(json.loads(w["body"])["comments"]) for w in self.gh.writes()]
        self.assertEqual(counts, [50, 50, 50, 50])
        self.assertIn("(part 2 of 4)", self.gh.reviews[1]["body"])
        self.assertIn("So are 30 more on the changed lines", self.gh.reviews[0]["body"])
        self.assertIn("big.py:230", self.gh.reviews[0]["body"])

    def test_refusals_each_name_what_to_fix(self):
        cases = [
            ({"POST /repos": (401, "Bad credentials")}, [], "GITHUB_TOKEN is wrong or expired"),
            ({"POST /repos": (403, "Resource not accessible by integration")}, [],
             "pull-requests: write"),
            ({"GET /repos": (404, "Not Found")}, [], "GitHub does not know acme/shop#7"),
            ({"POST /repos": (403, "API rate limit exceeded for installation")}, [],
             "rate limit is spent"),
            ({"GET /repos": (429, "secondary rate limit")}, ["--retries", "1"],
             "rate limit is spent"),
        ]
        for fail, args, expected in cases:
            self.gh.fail = fail
            r = self.review(*args)
            self.assertEqual(r.returncode, 1)
            self.assertIn(expected, r.stderr, fail)
            self.assertEqual(len([ln for ln in r.stderr.splitlines() if "--post github" in ln]), 1)
        self.gh.fail = {}
        self.gh.head = "b" * 40  # pushed after the diff was taken
        r = self.review()
        self.assertIn("HTTP 422", r.stderr)
        self.assertIn("head moved since the diff was taken (reviewed aaaaaaaaaaaa, "
                      "head now bbbbbbbbbbbb)", r.stderr)
        for env, expected in [
                ({"GITHUB_TOKEN": ""}, "GITHUB_TOKEN is not set"),
                ({"GITHUB_EVENT_PATH": self.write("push.json", {"ref": "main"}),
                  "GITHUB_EVENT_NAME": "push"}, "holds push, not a pull request")]:
            r = self.review(env=env)
            self.assertEqual(r.returncode, 1)
            self.assertIn(expected, r.stderr)
        self.assertEqual(self.review("--pr", "acme/shop").returncode, 1)
        self.assertEqual(self.review("--since-last-review").returncode, 2)


def git(repo, *args):
    return subprocess.run(["git", "-C", repo, *args], check=True, capture_output=True,
                          text=True).stdout.strip()


class SinceLastReview(unittest.TestCase):
    def test_only_the_commits_after_the_last_review(self):
        with tempfile.TemporaryDirectory() as d:
            repo = os.path.join(d, "repo")
            os.mkdir(repo)
            git(repo, "init", "-q", "-b", "main")
            git(repo, "config", "user.email", "t@example.com")
            git(repo, "config", "user.name", "t")

            def commit(name, text):
                with open(os.path.join(repo, name), "w") as f:
                    f.write(text)
                git(repo, "add", name)
                git(repo, "commit", "-qm", name)
                return git(repo, "rev-parse", "HEAD")

            base = commit("a.py", "a = 1\n")
            first = commit("b.py", "b = 1\n")
            gh = GitHub(TOKEN, "acme", "shop", 7, first, {"b.py": [(1, 1)], "c.py": [(1, 1)]})
            try:
                def review(head):
                    gh.head = head
                    event = os.path.join(d, "event.json")
                    with open(event, "w") as f:
                        json.dump({"pull_request": {"number": 7, "head": {"sha": head}}}, f)
                    env = {"PATH": os.environ["PATH"], "GITHUB_TOKEN": TOKEN,
                           "GITHUB_REPOSITORY": "acme/shop", "GITHUB_EVENT_PATH": event,
                           "GITHUB_API_URL": gh.url}
                    return subprocess.run(
                        [TOOL, "review", "--git", base + ".." + head, "--repo", repo,
                         "--replies", os.path.join(EXAMPLES, "replies"), "--post", "github",
                         "--since-last-review", "--json"],
                        capture_output=True, text=True, env=env)

                r = review(first)
                self.assertIn("Reviewed the whole pull request: it has no earlier review", r.stderr)
                self.assertEqual(json.loads(r.stdout)["files"], 1)
                second = commit("c.py", "c = 1\n")
                r = review(second)
                self.assertIn(f"Reviewed the commits after {first[:12]} (the head of the last "
                              f"review) up to {second[:12]}.", r.stderr)
                self.assertEqual(json.loads(r.stdout)["files"], 1)  # c.py only, not b.py
                self.assertIn(f"head={second}", gh.reviews[0]["body"])
                git(repo, "reset", "-q", "--hard", base)
                rewritten = commit("d.py", "d = 1\n")
                r = review(rewritten)
                self.assertIn("is not an ancestor of " + rewritten[:12], r.stderr)
            finally:
                gh.close()


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=1)
