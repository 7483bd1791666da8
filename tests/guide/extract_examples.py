#!/usr/bin/env python3
"""Takes the examples out of the integration guide, so that the guide itself is
what the tests compile and run.

Markers in the guide, each on the line just before what it marks:

  <!-- example: NAME -->   the fenced block that follows is the file NAME
  <!-- output: NAME -->    the fenced block that follows is what the example
                           NAME prints (written as NAME.expected)
  <!-- identifiers -->     the table that follows names type-library entries
                           (first `name` of a row), their identifier ({GUID})
                           and any ProgIDs (`Zantix.*`) of a row; written to
                           identifiers.txt, one row a line: name GUID ProgID...

The guide itself is copied there too (integration.md). Files are rewritten
only when they change, so that nothing is rebuilt for nothing. Prints the
example file names, separated by ";", for CMake.

  extract_examples.py GUIDE OUTPUT_DIR
"""
import os
import re
import sys

MARKER = re.compile(r"^<!--\s*(example|output):\s*([\w.\-]+)\s*-->\s*$")
IDENTIFIERS = re.compile(r"^<!--\s*identifiers\s*-->\s*$")
GUID = re.compile(r"\{[0-9A-Fa-f]{8}-[0-9A-Fa-f]{4}-[0-9A-Fa-f]{4}-[0-9A-Fa-f]{4}-[0-9A-Fa-f]{12}\}")


def fail(line_number, message):
    sys.exit(f"extract_examples: line {line_number}: {message}")


def fenced_block(lines, start, line_number):
    """The text of the fenced block at lines[start] and the index after it."""
    if start >= len(lines) or not lines[start].startswith("```"):
        fail(line_number, "a marker must be followed by a fenced block")
    fence = re.match(r"^(`{3,})", lines[start]).group(1)
    body = []
    i = start + 1
    while i < len(lines) and lines[i].rstrip() != fence:
        body.append(lines[i])
        i += 1
    if i == len(lines):
        fail(line_number, "the fenced block does not end")
    return "".join(body), i + 1


def table(lines, start, line_number):
    rows = []
    i = start
    while i < len(lines) and lines[i].startswith("|"):
        cells = re.findall(r"`([^`]+)`", lines[i])
        guid = GUID.search(lines[i])
        if cells and guid:
            progids = [c for c in cells if c.startswith("Zantix.")]
            rows.append(" ".join([cells[0], guid.group(0).upper()] + progids))
        i += 1
    if not rows:
        fail(line_number, "the identifiers marker must be followed by a table with identifiers")
    return rows, i


def write(path, text):
    old = None
    if os.path.exists(path):
        with open(path, encoding="utf-8", newline="") as f:
            old = f.read()
    if old != text:
        with open(path, "w", encoding="utf-8", newline="") as f:
            f.write(text)


def main():
    guide, output_dir = sys.argv[1], sys.argv[2]
    with open(guide, encoding="utf-8") as f:
        lines = f.readlines()
    examples, outputs, identifiers = {}, {}, []
    i = 0
    while i < len(lines):
        marker = MARKER.match(lines[i])
        if marker:
            kind, name = marker.groups()
            text, after = fenced_block(lines, i + 1, i + 1)
            target = examples if kind == "example" else outputs
            if name in target:
                fail(i + 1, f"a second {kind} {name}")
            target[name] = text
            i = after
            continue
        if IDENTIFIERS.match(lines[i]):
            rows, i = table(lines, i + 1, i + 1)
            identifiers += rows
            continue
        i += 1
    for name in outputs:
        if name not in examples:
            sys.exit(f"extract_examples: output for {name}, which is no example")
    if not examples:
        sys.exit("extract_examples: the guide has no example")

    os.makedirs(output_dir, exist_ok=True)
    for name, text in examples.items():
        # Scripts run under cscript, which reads them in the system's code page.
        write(os.path.join(output_dir, name), text.replace("\n", "\r\n") if name.endswith((".vbs", ".js")) else text)
    for name, text in outputs.items():
        write(os.path.join(output_dir, name + ".expected"), text)
    # The expected outputs say what the test runs: none of an example the guide no longer has.
    for stale in set(f for f in os.listdir(output_dir) if f.endswith(".expected")) - {n + ".expected" for n in outputs}:
        os.remove(os.path.join(output_dir, stale))
    write(os.path.join(output_dir, "identifiers.txt"), "".join(row + "\n" for row in identifiers))
    # The whole text, for the test that looks up every member of the type library in it.
    write(os.path.join(output_dir, "integration.md"), "".join(lines))
    print(";".join(sorted(examples)), end="")


if __name__ == "__main__":
    main()
