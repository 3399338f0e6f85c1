#!/usr/bin/env python3
"""Keeps, of the mutation sites listed by mutant_sites.py, those on the lines an earlier mutants.sh log
reports killed, for MUTANTS_ONLY.

    mutant_only.py LOG REPO SRC_TREE SITES_FILE   (rewrites SITES_FILE)

A logged site is found again by its line's text at the commit the log was made on, so code that moved
since keeps its mutants; without that commit in the log, by line number.
"""
import re
import subprocess
import sys

log_path, repo, src, sites_path = sys.argv[1:5]
log = open(log_path, encoding="utf-8").read()
made_on = re.search(r"detached HEAD ([0-9a-f]+)", log)


def lines_of(commit, file):
    if commit:
        shown = subprocess.run(["git", "-C", repo, "show", f"{commit}:src/{file}"], capture_output=True, text=True)
        return shown.stdout.split("\n") if shown.returncode == 0 else []
    return open(f"{src}/{file}", encoding="utf-8").read().split("\n")


wanted = set()
for file, number in re.findall(r"^\s*\d+\s+\S+\s+(\S+?):(\d+)\s.* killed by ", log, re.M):
    old = lines_of(made_on.group(1) if made_on else None, file)
    if int(number) <= len(old):
        wanted.add((file, old[int(number) - 1].strip()))

kept = []
for row in open(sites_path, encoding="utf-8"):
    file, number = row.split("\t")[:2]
    if (file, lines_of(None, file)[int(number) - 1].strip()) in wanted:
        kept.append(row)
open(sites_path, "w", encoding="utf-8").writelines(kept)
