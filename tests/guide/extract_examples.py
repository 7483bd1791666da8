#!/usr/bin/env python3
"""Takes the examples out of the integration guide, so that the guide itself is
what the tests compile and run. Markers, each on the line before a fenced block:

  <!-- example: NAME -->   the block is the file NAME
  <!-- output: NAME -->    the block is what the example NAME prints (NAME.expected)

The guide itself is copied there too (integration.md, for its tables). Files
are rewritten only when they change; prints the example names, ";"-separated.

  extract_examples.py GUIDE OUTPUT_DIR
"""
import os
import re
import sys

MARKER = re.compile(r"^<!--\s*(example|output):\s*([\w.\-]+)\s*-->\s*$")


def write(path, text):
    if not os.path.exists(path) or open(path, encoding="utf-8", newline="").read() != text:
        with open(path, "w", encoding="utf-8", newline="") as f:
            f.write(text)


def main():
    guide, output_dir = sys.argv[1], sys.argv[2]
    with open(guide, encoding="utf-8") as f:
        lines = f.readlines()
    found = {"example": {}, "output": {}}
    i = 0
    while i < len(lines):
        marker = MARKER.match(lines[i])
        i += 1
        if not marker:
            continue
        kind, name = marker.groups()
        fence = re.match(r"^(`{3,})", lines[i]) if i < len(lines) else None
        end = next((j for j in range(i + 1, len(lines)) if fence and lines[j].rstrip() == fence.group(1)), None)
        if end is None or name in found[kind]:
            sys.exit(f"extract_examples: line {i}: {kind} {name} needs one whole fenced block")
        found[kind][name] = "".join(lines[i + 1:end])
        i = end + 1
    examples, outputs = found["example"], found["output"]
    if not examples or set(outputs) - set(examples):
        sys.exit("extract_examples: no example, or an output of no example")
    os.makedirs(output_dir, exist_ok=True)
    for name, text in examples.items():
        # cscript reads scripts in the system's code page, with its line ends.
        write(os.path.join(output_dir, name), text.replace("\n", "\r\n") if name.endswith((".vbs", ".js")) else text)
    for name, text in outputs.items():
        write(os.path.join(output_dir, name + ".expected"), text)
    # What the test runs: no output of an example the guide no longer has.
    for stale in {f for f in os.listdir(output_dir) if f.endswith(".expected")} - {n + ".expected" for n in outputs}:
        os.remove(os.path.join(output_dir, stale))
    write(os.path.join(output_dir, "integration.md"), "".join(lines))
    print(";".join(sorted(examples)), end="")


if __name__ == "__main__":
    main()
