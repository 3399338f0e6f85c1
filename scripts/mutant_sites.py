#!/usr/bin/env python3
"""Lists the mutation sites of a source tree in an order fixed by a seed, for scripts/mutants.sh.

Each line: file (relative to the tree), line number, kind, text before, text after (tab-separated).
A site is keyed by file name and line text, so the order survives unrelated edits and moves.
"""
import hashlib
import pathlib
import re
import sys

FLIPS = {" < ": " <= ", " <= ": " < ", " > ": " >= ", " >= ": " > ", " == ": " != ", " != ": " == "}
BOUND = re.compile(r"( [<>]=? | [=!]= )(\d+)\b")
CALL_STATEMENT = re.compile(r"^(emit )?[A-Za-z_][\w:]*((\.|->)[A-Za-z_]\w*)*\(.*\);$")
STATEMENT_END = (";", "{", "}", ":")


def sites(root: pathlib.Path):
    for path in sorted(root.rglob("*.cpp")):
        if "protocols" in path.parts:
            continue
        previous = ""
        for number, raw in enumerate(path.read_text(encoding="utf-8").split("\n"), start=1):
            text = raw.strip()
            relative = str(path.relative_to(root))
            if text and not text.startswith(("//", "#", "*", "/*")) and '"' not in text:
                for before, after in FLIPS.items():
                    if before in text:
                        yield relative, number, text, "flip", before, after
                bound = BOUND.search(text)
                if bound:
                    yield relative, number, text, "bound", bound.group(0), bound.group(1) + str(int(bound.group(2)) + 1)
                starts_statement = previous == "" or previous.endswith(STATEMENT_END)
                if starts_statement and CALL_STATEMENT.match(text):
                    yield relative, number, text, "drop", text, ";"
            if text and not text.startswith("//"):
                previous = text


def main():
    root, seed = pathlib.Path(sys.argv[1]), sys.argv[2]
    by_kind = {}
    for relative, number, text, kind, before, after in sites(root):
        key = f"{seed}|{pathlib.Path(relative).name}|{text}|{kind}|{before}"
        by_kind.setdefault(kind, []).append((hashlib.sha1(key.encode()).hexdigest(), relative, number, kind, before, after))
    # Take the kinds in turn, so a small sample is not all dropped statements.
    queues = [sorted(found) for _, found in sorted(by_kind.items())]
    while any(queues):
        for queue in queues:
            if queue:
                _, relative, number, kind, before, after = queue.pop(0)
                print(f"{relative}\t{number}\t{kind}\t{before}\t{after}")


if __name__ == "__main__":
    try:
        main()
    except BrokenPipeError:
        pass
