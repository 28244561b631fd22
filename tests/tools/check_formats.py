#!/usr/bin/env python3
"""Checks every output format of `review` (and validate's SARIF) against its
standard: SARIF against the SARIF 2.1.0 schema and GitHub's upload rules,
rdjson against reviewdog's schema, annotations against GitHub's workflow
command syntax, markdown against a fixed rendering. Also the severity and
confidence filters, the merging of one place's findings and --fail-on.

usage: check_formats.py TOOL SOURCE_DIR
"""
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

import jsonschema

TOOL, SOURCE = sys.argv[1], sys.argv[2]
EXAMPLES = os.path.join(SOURCE, "examples")
DATA = os.path.join(SOURCE, "tests", "data")
SARIF_SCHEMA = json.load(open(os.path.join(DATA, "sarif-2.1.0-excerpt.json")))
RDJSON_SCHEMA = json.load(open(os.path.join(DATA, "rdjson-excerpt.json")))
ANNOTATION = re.compile(
    r"::(error|warning|notice)( file=[^,:\r\n]+(,line=\d+)?(,endLine=\d+)?)?"
    r"(,| )title=[^,:\r\n]+::[^\r\n]*")
HOSTILE = "Uses `eval` at 100% on {1} [here](0)\n<script>@octocat</script> | done"


def run(*args, replies=None, diff=None, cwd=None):
    cmd = [TOOL, "review", "--diff", diff or os.path.join(EXAMPLES, "change.diff"),
           "--replies", replies or os.path.join(EXAMPLES, "replies"), *args]
    return subprocess.run(cmd, capture_output=True, text=True, cwd=cwd)


def finding(path, line, severity="medium", issue="x", confidence=0.9, replacement=None):
    return {"file_path": path, "line_number": line, "severity": severity, "issue": issue,
            "suggestion": "fix it", "confidence": confidence, "category": "security",
            "code_replacement": replacement, "replacement_line_count": len(replacement or [1])}


def check_sarif(test, text):
    log = json.loads(text)
    jsonschema.Draft7Validator(SARIF_SCHEMA).validate(log)
    # GitHub's upload rules: at most 20 runs and 25,000 results a run, a rule
    # id and a start line for every result, URIs relative to the repository
    # root or file:// URIs.
    test.assertLessEqual(len(log["runs"]), 20)
    run_ = log["runs"][0]
    test.assertEqual(run_["columnKind"], "unicodeCodePoints")
    rules = run_["tool"]["driver"]["rules"]
    test.assertEqual(len({r["id"] for r in rules}), len(rules))
    for r in run_["results"]:
        test.assertEqual(rules[r["ruleIndex"]]["id"], r["ruleId"])
        loc = r["locations"][0]["physicalLocation"]
        uri = loc["artifactLocation"]["uri"]
        test.assertGreaterEqual(loc["region"]["startLine"], 1)
        test.assertNotIn("..", uri.split("/"))
        test.assertTrue(uri.startswith("file:///") or not uri.startswith("/"), uri)
        test.assertNotRegex(r["message"]["text"], r"(?<!\\)\[[^\]]*(?<!\\)\]\(\d+\)")
        test.assertNotRegex(r["message"]["text"].replace("{{", "").replace("}}", ""), r"[{}]")
    return log


class ReviewFormats(unittest.TestCase):
    def test_example_in_every_format(self):
        sarif = check_sarif(self, run("--format", "sarif").stdout)
        results = sarif["runs"][0]["results"]
        self.assertEqual([r["ruleId"] for r in results],
                         ["hesper/security", "wynn/performance", "wynn/performance"])
        self.assertEqual([r["level"] for r in results], ["error", "warning", "note"])
        self.assertEqual(results[0]["locations"][0]["physicalLocation"]["region"],
                         {"startLine": 20, "endLine": 24})
        change = results[0]["fixes"][0]["artifactChanges"][0]["replacements"][0]
        self.assertEqual(change["deletedRegion"], {"startLine": 20, "endLine": 24})
        self.assertEqual(results[0]["properties"]["agents"], ["hesper"])
        again = json.loads(run("--format", "sarif").stdout)["runs"][0]["results"]
        self.assertEqual([r["partialFingerprints"] for r in results],
                         [r["partialFingerprints"] for r in again])

        rd = json.loads(run("--format", "rdjson").stdout)
        jsonschema.Draft4Validator(RDJSON_SCHEMA).validate(rd)
        self.assertEqual([d["severity"] for d in rd["diagnostics"]], ["ERROR", "WARNING", "INFO"])
        self.assertEqual(rd["diagnostics"][0]["suggestions"][0]["range"],
                         {"start": {"line": 20}, "end": {"line": 24}})

        lines = run("--format", "github").stdout.splitlines()
        self.assertEqual(len(lines), 5)
        for line in lines[:4]:
            self.assertRegex(line, ANNOTATION)
        self.assertTrue(lines[0].startswith(
            "::error file=shop/orders.py,line=20,endLine=24,title=hesper%3A security::"))
        self.assertIn("f\"%25{term}%25\")", lines[0])
        self.assertEqual(lines[3][:27], "::warning title=corvin::err")

        md = run("--format", "markdown").stdout
        with open(os.path.join(DATA, "example-review.md")) as f:
            self.assertEqual(md, f.read())
        self.assertEqual(run("--json", "--format", "sarif").returncode, 2)
        self.assertEqual(run("--format", "xml").returncode, 2)

    def test_hostile_findings_stay_inside_their_format(self):
        with tempfile.TemporaryDirectory() as d:
            shutil.copytree(os.path.join(EXAMPLES, "replies"), d, dirs_exist_ok=True)
            findings = [
                finding("../../etc/passwd", 0, "high", HOSTILE),
                finding("/abs/a b.py", 3, "low", HOSTILE, replacement=["x = 1", "a ```` b"]),
                finding("shop/orders.py", 20, "medium", "duplicate place"),
            ]
            with open(os.path.join(d, "wynn.json"), "w") as f:
                json.dump({"status": "findings", "findings": findings, "summary": "s"}, f)
            out = {fmt: run("--format", fmt, replies=d) for fmt in
                   ("sarif", "rdjson", "github", "markdown", "text")}
            for fmt, r in out.items():
                self.assertEqual(r.returncode, 1, fmt + r.stderr)  # corvin's error verdict
            check_sarif(self, out["sarif"].stdout)
            uris = [r["locations"][0]["physicalLocation"]["artifactLocation"]["uri"]
                    for r in json.loads(out["sarif"].stdout)["runs"][0]["results"]]
            self.assertEqual(uris[1:], ["file://" + os.path.normpath(os.path.join(
                os.getcwd(), "../../etc/passwd")), "file:///abs/a%20b.py"])
            jsonschema.Draft4Validator(RDJSON_SCHEMA).validate(json.loads(out["rdjson"].stdout))
            annotations = out["github"].stdout.splitlines()
            for line in annotations[:-1]:
                self.assertRegex(line, ANNOTATION)
            md = out["markdown"].stdout
            self.assertNotIn("<script>", md)
            self.assertNotIn("@octocat", md)
            self.assertIn("\\| done", md)
            self.assertIn("`````python\nx = 1\na ```` b\n`````\n", md)
            # One place reported by hesper and wynn: once, naming both.
            self.assertIn("| hesper, wynn |", md)
            self.assertEqual(md.count("shop/orders.py:20 |"), 1)

    def test_filters_merging_and_fail_on(self):
        r = run("--json", "--min-severity", "medium", "--min-confidence", "0.92")
        report = json.loads(r.stdout)
        self.assertEqual(report["selection"],
                         {"below_severity": 1, "below_confidence": 1, "merged": []})
        wynn = report["agents"][3]["verdict"]
        self.assertEqual(wynn["findings"], [])
        self.assertEqual(r.stderr,
                         "tessik-agents review: left out 1 finding below severity medium, "
                         "1 finding below confidence 0.92\n")
        text = run("--min-severity", "high").stdout
        self.assertIn("left out 2 findings below severity high\n", text)
        sarif = json.loads(run("--format", "sarif", "--min-severity", "high").stdout)
        self.assertEqual(len(sarif["runs"][0]["results"]), 1)
        for args, message in [
                (["--min-severity", "major"], "--min-severity must be high, medium, low or info"),
                (["--min-confidence", "1.5"], "--min-confidence must be a number from 0 to 1"),
                (["--fail-on", "info"], "--fail-on must be high, medium, low or never")]:
            r = run(*args)
            self.assertEqual(r.returncode, 2)
            self.assertIn(message, r.stderr)
        # --fail-on on a review whose verdicts are all fine.
        with tempfile.TemporaryDirectory() as d:
            for agent in ("corvin", "hesper", "peregrin"):
                shutil.copy(os.path.join(EXAMPLES, "replies", "peregrin.json"),
                            os.path.join(d, agent + ".json"))
            shutil.copy(os.path.join(EXAMPLES, "replies", "wynn.json"), d)
            for fail_on, status in [("never", 0), ("high", 0), ("medium", 1), ("low", 1)]:
                self.assertEqual(run("--fail-on", fail_on, replies=d).returncode, status, fail_on)
            self.assertEqual(run("--fail-on", "low", "--min-severity", "high",
                                 replies=d).returncode, 0)
            # The same settings as keys of the project's .tessik.yaml.
            subprocess.run(["git", "init", "-q", d], check=True)
            with open(os.path.join(d, ".tessik.yaml"), "w") as f:
                f.write("fail_on: medium\nmin_severity: medium\nformat: rdjson\n")
            r = run(replies=d, cwd=d)
            self.assertEqual(r.returncode, 1)
            self.assertEqual(len(json.loads(r.stdout)["diagnostics"]), 1)


class ValidateSarif(unittest.TestCase):
    def test_validate_log_meets_the_same_rules(self):
        with tempfile.TemporaryDirectory() as d:
            bad = os.path.join(d, "a {1} [x](0).yaml")
            with open(bad, "w") as f:
                f.write("name: '{1} [x](0)'\nsystem_prompt: p\nbogus: 1\n")
            r = subprocess.run([TOOL, "validate", "--format", "sarif", bad,
                                os.path.join(d, "missing.md"), "examples/../agents/corvin.md"],
                               capture_output=True, text=True, cwd=SOURCE)
            log = check_sarif(self, r.stdout)
            uris = {res["locations"][0]["physicalLocation"]["artifactLocation"]["uri"]
                    for res in log["runs"][0]["results"]}
            self.assertIn("file://" + d + "/missing.md", uris)
            self.assertIn("agents/corvin.md", uris)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=1)
