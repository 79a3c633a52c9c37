#!/usr/bin/env python3
"""Puts one small fault at a time into the portable product code and asks the host suites whether they notice.

    mutants.py [--seed N] [--at-least PERCENT] [--from FOLDER]... COUNT

Works in a copy of the present tree below out/mutants, so the tree itself is never touched. A survivor is printed with
its place: either the line cannot be observed, or it is not needed, or a case is missing. Some five seconds a fault.
"""
import argparse
import filecmp
import os
import random
import re
import shutil
import subprocess
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
COPY = os.path.join(ROOT, "out", "mutants")
BUILD = os.path.join(COPY, "out", "host")
TESTS = os.path.join(BUILD, "tests", "halvora_tests")
FOLDERS = ["tslib", "tslib/platform", "tslib/verifytrust", "AgentCore", "resources", "shellext",
           "companions/settingsstore", "companions/protection", "companions/scanagent"]

# What stands in a line, and what takes its place.
EXCHANGES = [(re.compile(pattern), other) for pattern, other in [
    (r"(?<![<>=!\-+*/&|^])<(?![<=>])(?=\s)", "<="), (r"(?<=\s)>(?![>=])(?=\s)", ">="),
    (r"<=(?!>)", "<"), (r"(?<![-<])>=", ">"), (r"==", "!="), (r"!=", "=="),
    (r"(?<=\s)&&(?=\s)", "||"), (r"(?<=\s)\|\|(?=\s)", "&&"), (r"(?<=[( ])!(?=[a-zA-Z_(])", ""),
    (r"\btrue\b", "false"), (r"\bfalse\b", "true"),
    (r"(?<=\s)\+(?=\s)", "-"), (r"(?<=\s)-(?=\s)", "+"), (r"\+\+", "--"),
    (r"\bbreak;", ";"), (r"\bcontinue;", ";"),
    (r"(?<=\s)&(?=\s)", "|"), (r"(?<=\s)\|(?=\s)", "&"),
]]
NUMBER = re.compile(r"(?<![\w.\"'])(0[xX][0-9A-Fa-f]+|\d+)(?=[uU]?[;,)\s\]])")
TEXT = re.compile(r'u?"([^"\\%]{4,})"')
CALL = re.compile(r"^\s+(?!return\b)[A-Za-z_][\w:.>\-\[\]]*(\.|->)?[A-Za-z_]\w*\(.*\);\s*(//.*)?$")
# Traces, declarations and what the compiler alone reads.
SKIPPED = re.compile(r"^\s*(//|#|namespace|using|static_assert|template|class |struct |$)|[tT]racer?_?\.|log_\.|operator")


def faults_of(path):
    """(line number, new line, description) of every fault that the file can have."""
    with open(path, encoding="utf-8") as file:
        lines = file.read().split("\n")
    for number, line in enumerate(lines):
        if SKIPPED.search(line):
            continue
        code = line.split("//")[0]
        in_text = lambda at: code[:at].count('"') % 2 == 1
        for pattern, other in EXCHANGES:
            for found in pattern.finditer(code):
                if not in_text(found.start()):
                    yield number, line[:found.start()] + other + line[found.end():], \
                        f"{found.group(0)} -> {other or 'nothing'}"
        for found in NUMBER.finditer(code):
            if not in_text(found.start()):
                yield number, line[:found.start()] + str(int(found.group(1), 0) + 1) + line[found.end():], \
                    f"{found.group(1)} -> one more"
        for found in TEXT.finditer(code):
            at = found.start(1) + 1
            yield number, line[:at] + ("Q" if line[at] != "Q" else "W") + line[at + 1:], f"text {found.group(0)[:30]}"
        if CALL.match(line):
            yield number, re.sub(r"\S.*", ";", line, count=1), "call dropped"


def run(arguments, seconds, **options):
    """The exit code; a command that does not end in time counts as failed."""
    try:
        return subprocess.run(arguments, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=seconds,
                              **options).returncode
    except subprocess.TimeoutExpired:
        return -1


def build():
    return run(["nice", "cmake", "--build", BUILD, "--target", "halvora_tests"], 1800)


def tests_pass():
    return run(["nice", TESTS, "--gtest_brief=1", "--gtest_fail_fast"], 120) == 0


def copy_tree():
    """Brings the copy up to date; files that did not change keep their time, so that little is built again."""
    names = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"], cwd=ROOT,
                           check=True, stdout=subprocess.PIPE, text=True).stdout.split("\0")
    names = {name for name in names if name and os.path.isfile(os.path.join(ROOT, name))}
    for folder, folders, files in os.walk(COPY):
        if folder == COPY and "out" in folders:
            folders.remove("out")
        for name in files:
            path = os.path.join(folder, name)
            if os.path.relpath(path, COPY) not in names:
                os.remove(path)
    for name in names:
        source, target = os.path.join(ROOT, name), os.path.join(COPY, name)
        if not os.path.exists(target) or not filecmp.cmp(source, target, shallow=False):
            os.makedirs(os.path.dirname(target), exist_ok=True)
            shutil.copy(source, target)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("count", type=int, metavar="COUNT", help="how many faults")
    parser.add_argument("--seed", type=int, default=1, help="which ones (default 1)")
    parser.add_argument("--at-least", type=int, default=0, metavar="PERCENT", help="exit with 1 below this share")
    parser.add_argument("--from", dest="folders", action="append", metavar="FOLDER", help="only from these folders")
    options = parser.parse_args()

    copy_tree()
    # Not optimised and without warnings, which many faults would raise.
    configure = ["cmake", "--preset", "host", "-DCMAKE_CXX_FLAGS=-w", "-DCMAKE_CXX_FLAGS_DEBUG=-O0"]
    if run(configure, 300, cwd=COPY) or build() or not tests_pass():
        sys.exit("mutants: the tree as it is does not build or does not pass its host tests")

    pool = []
    for folder in options.folders or FOLDERS:
        for name in sorted(os.listdir(os.path.join(COPY, folder))):
            if name.endswith(".cpp") and "_win32" not in name:
                path = os.path.join(COPY, folder, name)
                pool += [(path, *fault) for fault in faults_of(path)]
    random.Random(options.seed).shuffle(pool)

    killed = survived = 0
    for path, number, new, what in pool:
        if killed + survived >= options.count:
            break
        with open(path, encoding="utf-8") as file:
            whole = file.read()
        lines = whole.split("\n")
        old, lines[number] = lines[number], new
        try:
            with open(path, "w", encoding="utf-8") as file:
                file.write("\n".join(lines))
            if build():
                continue  # not a program
            if tests_pass():
                survived += 1
                print(f"survived  {os.path.relpath(path, COPY)}:{number + 1}  {what}  {old.strip()}", flush=True)
            else:
                killed += 1
        finally:
            with open(path, "w", encoding="utf-8") as file:
                file.write(whole)
    share = 100 * killed / max(1, killed + survived)
    print(f"{killed} noticed, {survived} survived: {share:.0f} % of {killed + survived} (seed {options.seed}, "
          f"out of {len(pool)})")
    return 1 if killed + survived == 0 or share < options.at_least else 0


if __name__ == "__main__":
    sys.exit(main())
