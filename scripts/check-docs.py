#!/usr/bin/env python3
"""scripts/check-docs.py [--run BIN]: fails on links, files, tests and presets in the documents that do not exist. --run also runs the
shell blocks of each document, in its order, on a platform started from the programs in BIN. A block below a comment "not run: REASON"
is not run, but its tarnctl commands must exist with their options, as those in the text must."""
import os
import re
import subprocess
import sys
import tempfile
from pathlib import Path

TOP = Path(__file__).resolve().parent.parent
ROOTS = ("", "src", "platform", "tests")  # names of files in the text may leave these out
BLOCK = re.compile(r"^(?:<!-- not run: (?P<reason>[^\n]+) -->\n)?```(?P<kind>\w*)\n(?P<text>.*?)^```$",
                   re.MULTILINE | re.DOTALL)
LIMIT_S = 120


def git_files(*patterns):
    command = ["git", "-C", TOP, "ls-files", "-z", "--cached", "--others", "--exclude-standard", *patterns]
    listed = subprocess.check_output(command, text=True)
    return [name for name in listed.split("\0") if name and (TOP / name).is_file()]


FILES = git_files()
NAMES = {Path(name).name for name in FILES}
STEMS = {Path(name).stem for name in FILES}
FOLDERS = {path.name for name in FILES for path in Path(name).parents if path.name}
PRESETS = set(re.findall(r'"name": "(\w+)"', (TOP / "CMakePresets.json").read_text(encoding="utf-8")))


def exists(name):
    name = name.rstrip("/")
    return any(next((TOP / root).glob(name + suffix), None) for root in ROOTS for suffix in ("", ".*"))


def missing_names(text):
    """Of files, tests and presets, in a command or in the text."""
    for word in re.findall(r"[\w.*/@+-]+", text):
        word = word.rstrip(".,:;")
        test = re.fullmatch(r"(?:build/\w+/tests/)?(tst_\w+)", word)
        if test:
            if test[1] not in STEMS:
                yield word
        elif re.fullmatch(r"\w+\.(cpp|h|py|sh|proto)", word):
            if word not in NAMES:
                yield word
        elif re.match(r"\.?\w[\w.-]*/", word) and word.split("/")[0] in FOLDERS | {".ci"} and not exists(word):
            yield word
    yield from (preset for preset in re.findall(r"(?:--preset |\bbuild/)(\w+)\b", text) if preset not in PRESETS)


def command_faults(text, tarnctl):
    """Of the tarnctl commands: their words must be a command, their options must be in its help."""
    for command in re.findall(r"^\s*tarnctl ([^\n#|>]+)", text.replace("| tarnctl", "\ntarnctl"), re.MULTILINE):
        words = re.match(r"(?:[a-z]+ ?)*", command)[0].split()
        answer = subprocess.run([tarnctl, *words, "--help"], capture_output=True, text=True, check=False)
        usage = re.match(r"Usage: tarnctl ?((?:[a-z]+ ?)*)(?:\[options\] )?(COMMAND)?", answer.stdout)
        known = usage[1].split() if usage else None
        if answer.returncode != 0 or known != words[:len(known or [])] or (usage[2] and known != words):
            yield f"no command: tarnctl {command}"
        else:
            yield from (f"no option {option}: tarnctl {command}" for option in re.findall(r"--[a-z-]+", command)
                        if option not in answer.stdout)


def anchors(path):
    headings = re.findall(r"^#+ (.*)$", path.read_text(encoding="utf-8"), re.MULTILINE)
    return {re.sub(r"[^\w -]", "", heading).lower().replace(" ", "-") for heading in headings}


def faults(name, tarnctl):
    document = TOP / name
    text = document.read_text(encoding="utf-8")
    prose = BLOCK.sub("", text)
    for target, anchor in re.findall(r"\]\(([^)#:]*)#?([^)#:]*)\)", prose):
        path = document.parent / target if target else document
        if not path.exists():
            yield f"no such file: {target}"
        elif anchor and anchor not in anchors(path):
            yield f"no such heading: {target}#{anchor}"
    commands = [block["text"] for block in BLOCK.finditer(text) if block["kind"] == "sh"]
    for piece in re.findall(r"`([^`\n]+)`", prose) + commands:
        yield from (f"no such name: {missing}" for missing in missing_names(piece))
        if tarnctl:
            yield from command_faults(piece, tarnctl)


RUN = """
set -euo pipefail
cd {top}
. scripts/private-platform.sh
start_platform {bin} >&2
mkdir "$work/scratch"
for name in {tops}; do ln -s {top}/"$name" "$work/scratch"; done
cp {top}/platform/sample/catalogue/catalogue.json "$work/scratch"
cd "$work/scratch"
export PATH=$work/bin:$PATH
for block in {blocks}/*; do
    out=$work/${{block##*/}}.out
    bash -euxo pipefail "$block" </dev/null >"$out" 2>&1 || {{
        echo "$(head -1 "$block") failed: $(tail -5 "$out")"
        exit 1
    }}
done
"""


def run(name, directory):
    """Each block runs in a separate shell, from a file that begins with the block's place."""
    text = (TOP / name).read_text(encoding="utf-8")
    with tempfile.TemporaryDirectory(prefix="docs.") as blocks:
        for number, block in enumerate(BLOCK.finditer(text)):
            if block["kind"] == "sh" and not block["reason"]:
                line = text.count("\n", 0, block.start("text")) + 1
                Path(blocks, f"{number:03}").write_text(f"# {name}:{line}\n{block['text']}", encoding="utf-8")
        if not os.listdir(blocks):
            return
        tops = " ".join(sorted({path.split("/")[0] for path in FILES}))  # no build trees, which a command could spoil
        script = RUN.format(top=TOP, tops=tops, bin=directory, blocks=blocks)
        result = subprocess.run(["timeout", str(LIMIT_S), "bash", "-c", script], stdout=subprocess.PIPE, text=True,
                                check=False)
        print(f"{name}: ran {len(os.listdir(blocks))} blocks")
        if result.returncode != 0:
            yield result.stdout.strip() or f"exit code {result.returncode}"


def main():
    directory = Path(sys.argv[2]).resolve() if sys.argv[1:2] == ["--run"] else None
    documents = git_files("*.md")
    found = []
    for name in documents:
        found += [f"{name}: {fault}" for fault in faults(name, directory and directory / "tarnctl")]
        found += [f"{name}: {fault}" for fault in (run(name, directory) if directory else [])]
    print("\n".join(found) or f"{len(documents)} documents name what exists")
    return 1 if found else 0


sys.exit(main())
