#!/usr/bin/env python3
"""Every link of the documents leads somewhere, every test that they name is there, and every command line in them is
one that works: zebdiag's are run in the Wine prefix, as far as they name no placeholder (then verb and options are
looked up in the help); parts of test.sh, programs and options of scripts in their help; msiexec's properties in the
scripts that run them."""
import os
import re
import shlex
import subprocess
import sys
import tempfile

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
os.chdir(ROOT)
DOCUMENTS = subprocess.run(["git", "ls-files", "--cached", "--others", "--exclude-standard", "*.md"], capture_output=True, text=True, check=True).stdout.split()
PLACEHOLDER = re.compile(r"\b(FILE|PATH|VERB|TEXT|KIND|OBJID|IID|ACTION|NAME|ID|LIST|MODULE|ADDRESS)\b|\.\.\.")
NEEDS_DISPLAY = ("page", "menu --show")
problems = []
ran = looked_up = links = tests = 0


def read(path):
    with open(path, encoding="utf-8") as file:
        return file.read()


def anchors(text):
    return {re.sub(r"[^\w\- ]", "", head.strip().lower()).replace(" ", "-") for head in re.findall(r"^#+ (.*)$", text, re.M)}


def output(*command, **options):
    done = subprocess.run(command, capture_output=True, text=True, timeout=120, stdin=subprocess.DEVNULL, **options)
    return done.returncode, done.stdout + done.stderr


helps = {}


def help_of(*program):
    if program not in helps:
        helps[program] = output(*program, "--help")[1]
    return helps[program]


def commands(text):
    """The command lines of a document: lines of code that begin with one of our programs."""
    blocks = re.findall(r"^```(?:sh)?\n(.*?)^```", text, re.M | re.S) + re.findall(r"(?:^    \S.*\n)+", text, re.M)
    lines = [line.split(" # ")[0].strip().removeprefix("$ ") for block in blocks for line in block.splitlines()]
    lines += re.findall(r"`([^`\n]+)`", re.sub(r"^```.*?^```", "", text, flags=re.M | re.S))
    return [line for line in lines if re.match(r"(\./(test|demo)\.sh|scripts/[\w-]+\.(sh|py)|zebdiag|msiexec)( |$)", line)]


def check_zebdiag(words, folder):
    global ran, looked_up
    program = (os.path.join(ROOT, "scripts/zebdiag.sh"),)
    line = " ".join(words)
    if PLACEHOLDER.search(line) or not words or line.startswith(NEEDS_DISPLAY):
        if words and re.fullmatch("[a-z]+", words[0]):
            known = help_of(*program, words[0])
            unknown = [word for word in words[1:] if word.startswith("--") and word not in known]
            looked_up += 1
            return f"unknown {unknown}" if unknown or "usage: zebdiag" not in known else None
        looked_up += 1
        return None
    if len(words) == 1 and words[0] not in ("--help", "doctor", "objects", "protection"):  # the verb is meant
        looked_up += 1
        return None if "usage: zebdiag" in help_of(*program, words[0]) else "no such verb"
    ran += 1
    code, said = output(*program, *words, cwd=folder)
    return f"exit code {code}: {said[-300:]}" if code not in (0, 1, 3) or "see zebdiag" in said else None


def check(line, folder):
    global looked_up
    words = shlex.split(line.replace("\\", "\\\\"))
    if words[0] == "zebdiag":
        return check_zebdiag(words[1:], folder)
    if words[0] == "scripts/zebdiag.sh":
        return check_zebdiag(words[1:], ROOT)
    looked_up += 1
    if words[0] == "msiexec":
        used = read("scripts/check-installer.sh") + read("demo.sh") + read("installer/product.wxs")
        unknown = [word for word in words[1:] if "=" in word and word.split("=")[0] not in used]
        return f"nothing runs {unknown}" if unknown else None
    if not os.access(words[0], os.X_OK):
        return "there is no such program"
    if words[0].endswith("test.sh") and len(words) > 1 and words[1] != "--help" and not re.search(rf"test\.sh {re.escape(words[1])}\b", help_of("./test.sh")):
        return "test.sh does not know it"
    if len(words) > 1 and words[0] != "./test.sh" and words[1].startswith("--") and words[1] not in read(words[0]):
        return "unknown option"
    return None


with tempfile.TemporaryDirectory() as folder:
    with open(os.path.join(folder, "paths.txt"), "w", encoding="utf-8") as file:
        file.write("C:\\windows\\win.ini\n")
    with open(os.path.join(folder, "capture.txt"), "w", encoding="utf-8") as file:
        file.write('Halvora trace 2 103 "x" "%x%"\n')
    sources = "".join(read(name) for name in subprocess.run(["git", "ls-files", "tests/*.cpp"], capture_output=True, text=True, check=True).stdout.split())
    seen = set()
    for document in DOCUMENTS:
        text = read(document)
        for target, anchor in re.findall(r"\]\(([^)#\s]*)(?:#([^)]*))?\)", text):
            if target.startswith("http"):
                continue
            links += 1
            path = os.path.normpath(os.path.join(os.path.dirname(document), target)) if target else document
            if not os.path.exists(path):
                problems.append(f"{document}: there is no {target}")
            elif anchor and path.endswith(".md") and anchor not in anchors(read(path)):
                problems.append(f"{document}: no section #{anchor} in {path}")
        for suite, test in re.findall(r"`(?:\w+/)?([A-Z]\w+)\.([A-Z]\w+_\w+)`", text):
            tests += 1
            if not re.search(rf"TEST(_F|_P)?\({suite},\s*{test}\)", sources):
                problems.append(f"{document}: there is no test {suite}.{test}")
        for line in commands(text):
            if line not in seen:
                seen.add(line)
                wrong = check(line, folder)
                if wrong:
                    problems.append(f"{document}: {line}: {wrong}")

print("\n".join(problems))
print(f"note: {links} links, {tests} names of tests, {ran} command lines run, {looked_up} looked up")
sys.exit(1 if problems or ran == 0 else 0)
