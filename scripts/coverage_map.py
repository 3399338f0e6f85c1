#!/usr/bin/env python3
"""Which lines of src/ each test function executes, to find tests that overlap.

    scripts/coverage_map.py collect BUILD OUT [TEST...]
                                                run every test function (of the named tests) alone in
                                                BUILD, a build configured with
                                                -DCMAKE_CXX_FLAGS=--coverage -DCMAKE_BUILD_TYPE=Debug,
                                                and write OUT/<test>--<function>.json
    scripts/coverage_map.py report OUT [E2E]    every function: its lines in tests/, the src lines it
                                                executes, and how many of them no other function does
                                                (tests named in E2E, comma-separated, run the whole
                                                program and are not counted as executing others' lines)
    scripts/coverage_map.py who OUT FILE:LINE   the functions that execute a src line
    scripts/coverage_map.py who OUT TEST--FN    the functions that execute most of the same lines

Executing a line is not checking it: a function no other one overlaps may still be the only check
of what it executes. Use the map to find candidates, then read the tests. Takes about 15 minutes.
"""
import glob
import json
import os
import re
import subprocess
import sys

REPO = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
SOURCE = REPO  # the checkout the build was made from; set from its cache by collect
SKIPPED = {"init", "cleanup", "initTestCase", "cleanupTestCase"}


def test_functions(source):
    """The test functions of a file: the slots after "private slots:" up to the next access label."""
    slots = re.findall(r"^private slots:\n(.*?)(?=^(?:private|public|protected):|^};)", source, re.M | re.S)
    found = re.findall(r"^    void (\w+)\(\)\s*$", "".join(slots), re.M)
    return [f for f in found if not f.endswith("_data") and f not in SKIPPED]


def sources_of(test):
    """The test files of a ctest test, read from the CMakeLists of tests/."""
    for cmake in glob.glob(f"{SOURCE}/tests/*/CMakeLists.txt"):
        for name, rest in re.findall(r"verrin_add_test\(NAME (\w+)([^)]*)\)", open(cmake).read()):
            if name == test:
                return [os.path.join(os.path.dirname(cmake), f) for f in re.findall(r"(Test\w+\.cpp)", rest)]
    return []


def executed_lines(build):
    lines = {}
    gcdas = glob.glob(f"{build}/src/**/*.gcda", recursive=True)
    for i in range(0, len(gcdas), 40):
        out = subprocess.run(["gcov", "-j", "-t"] + gcdas[i : i + 40], cwd="/tmp", capture_output=True, text=True)
        for chunk in out.stdout.splitlines():
            if not chunk.startswith("{"):
                continue
            report = json.loads(chunk)
            for f in report.get("files", []):
                path = os.path.normpath(os.path.join(report.get("current_working_directory", ""), f["file"]))
                if path.startswith(f"{SOURCE}/src/"):
                    hit = [line["line_number"] for line in f["lines"] if line["count"] > 0]
                    if hit:
                        lines.setdefault(path[len(SOURCE) + 5 :], set()).update(hit)
    return {k: sorted(v) for k, v in lines.items()}


def collect(build, out, only):
    global SOURCE
    SOURCE = re.search(r"^CMAKE_HOME_DIRECTORY:INTERNAL=(.*)$", open(f"{build}/CMakeCache.txt").read(), re.M).group(1)
    os.makedirs(out, exist_ok=True)
    listing = subprocess.run(["ctest", "--show-only=json-v1"], cwd=build, capture_output=True, text=True, check=True)
    for test in json.loads(listing.stdout)["tests"]:
        if only and test["name"] not in only:
            continue
        env = dict(os.environ)
        for prop in test.get("properties", []):
            if prop["name"] == "ENVIRONMENT":
                env.update(kv.split("=", 1) for kv in prop["value"])
        command = test["command"]
        # Shell scripts and tests made without verrin_add_test run whole.
        functions = sorted({f for path in sources_of(test["name"]) for f in test_functions(open(path).read())})
        functions = functions or [None]
        for function in functions:
            for gcda in glob.glob(f"{build}/**/*.gcda", recursive=True):
                os.remove(gcda)
            try:
                run = subprocess.run(command + ([function] if function else []), env=env, capture_output=True, timeout=600)
                status = run.returncode
            except subprocess.TimeoutExpired:
                status = "timeout"
            name = f"{test['name']}--{function or 'ALL'}"
            json.dump(executed_lines(build), open(f"{out}/{name}.json", "w"))
            print(name, status, flush=True)


def load(out):
    return {
        os.path.basename(p)[:-5]: {(f, n) for f, ns in json.load(open(p)).items() for n in ns}
        for p in glob.glob(f"{out}/*.json")
    }


def function_lengths():
    lengths = {}
    for path in glob.glob(f"{REPO}/tests/**/*.cpp", recursive=True):
        lines = open(path).read().split("\n")
        for i, line in enumerate(lines):
            m = re.match(r"^    void (\w+)\(\)\s*$", line)
            if not m or i + 1 >= len(lines) or lines[i + 1].strip() != "{":
                continue
            depth, count = 0, 1
            for body in lines[i + 1 :]:
                depth += body.count("{") - body.count("}")
                count += bool(body.strip())
                if depth == 0:
                    break
            name = m.group(1).removesuffix("_data")
            lengths[name] = lengths.get(name, 0) + count
    return lengths


def report(out, e2e):
    data = load(out)
    count = {}
    for name, lines in data.items():
        if name.split("--")[0] not in e2e:
            for line in lines:
                count[line] = count.get(line, 0) + 1
    lengths = function_lengths()
    rows = []
    for name, lines in data.items():
        alone = 0 if name.split("--")[0] in e2e else 1
        unique = sorted(line for line in lines if count.get(line, 0) == alone)
        rows.append((len(unique), -lengths.get(name.split("--")[1], 0), name, unique[:4]))
    for unique, length, name, sample in sorted(rows):
        print(f"{-length:4d} lines  {unique:4d} alone  {len(data[name]):5d} executed  {name}  {sample if unique < 5 else ''}")


def who(out, what):
    data = load(out)
    if "--" in what:
        mine = data[what]
        print(f"{what} executes {len(mine)} src lines; the most of them are also executed by:")
        for shared, name in sorted(((len(mine & s), n) for n, s in data.items() if n != what), reverse=True)[:15]:
            print(f"  {shared:5d} ({100 * shared // max(1, len(mine))}%)  {name}")
    else:
        file, line = what.rsplit(":", 1)
        print("\n".join(n for n, s in sorted(data.items()) if (file, int(line)) in s))


if __name__ == "__main__":
    if len(sys.argv) < 3 or sys.argv[1] not in ("collect", "report", "who"):
        sys.exit(__doc__)
    if sys.argv[1] == "collect":
        collect(os.path.abspath(sys.argv[2]), os.path.abspath(sys.argv[3]), set(sys.argv[4:]))
    elif sys.argv[1] == "report":
        report(sys.argv[2], set(sys.argv[3].split(",")) if len(sys.argv) > 3 else set())
    else:
        who(sys.argv[2], sys.argv[3])
