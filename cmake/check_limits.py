#!/usr/bin/env python3
"""Fails when a product source file is over 500 lines or a function in it over 60.

Run as `check_limits.py SOURCE_DIR FOLDER...`. A function is counted from the line its
definition starts on, at the left margin as the project writes them, to its closing brace at
the left margin. A data table (an initialiser, not a function) is not counted.
"""
import pathlib
import re
import sys

MAX_FILE_LINES = 500
MAX_FUNCTION_LINES = 60
# A definition at the margin that is not a function: a type, a namespace, a table of data.
NOT_A_FUNCTION = re.compile(r"^(namespace|class|struct|enum|union|extern|template\s*<[^>]*>\s*(class|struct))\b|=\s*\{?$|=\s*\{")


def code_of(line):
    """The line without its strings, character literals and comment."""
    line = re.sub(r'"(\\.|[^"\\])*"', '""', line)
    line = re.sub(r"'(\\.|[^'\\])*'", "''", line)
    return line.split("//")[0]


def function_lengths(lines):
    """(first line number, name, length) of each function defined at the margin."""
    start = None
    depth = 0
    header = ""
    for number, line in enumerate(lines, 1):
        code = code_of(line)
        if start is None:
            if not (code[:1].isalpha() and "(" in code) or code.startswith("#"):
                continue
            words = code.split("(")[0].split()
            start, header, depth = (number, words[-1] if words else "?"), "", 0
        if depth == 0 and "{" not in code and code.rstrip().endswith(";"):
            start = None  # a declaration
            continue
        if depth == 0:
            header += code
        depth += code.count("{") - code.count("}")
        if "{" in header and depth == 0:
            if not NOT_A_FUNCTION.search(header.split("{")[0] + "{"):
                yield start[0], start[1], number - start[0] + 1
            start = None


def main():
    root = pathlib.Path(sys.argv[1])
    problems = []
    checked = 0
    for folder in sys.argv[2:]:
        for path in sorted((root / folder).rglob("*")):
            if path.suffix not in (".cpp", ".h"):
                continue
            checked += 1
            lines = path.read_text(encoding="utf-8").splitlines()
            shown = path.relative_to(root)
            if len(lines) > MAX_FILE_LINES:
                problems.append(f"{shown}: {len(lines)} lines (at most {MAX_FILE_LINES})")
            for first, name, length in function_lengths(lines):
                if length > MAX_FUNCTION_LINES:
                    problems.append(f"{shown}:{first}: {name} is {length} lines "
                                    f"(at most {MAX_FUNCTION_LINES})")
    if problems:
        print("\n".join(problems))
        return 1
    print(f"{checked} files: none over {MAX_FILE_LINES} lines, no function over "
          f"{MAX_FUNCTION_LINES}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
