#!/usr/bin/env python3
"""Prints the command line a systemd unit's ExecStart= runs, one argument per line.

    unit_command.py UNIT ENVIRONMENT_FILE SPECIFIER=VALUE... [-- NAME=VALUE...]

Expands as systemd does for the settings the unit uses: Environment= lines, then the
EnvironmentFile=, then the NAME=VALUE pairs after "--" (what a test puts in place of the
settings file's values); "${NAME}" stays one argument, "$NAME" splits into words as a shell would, and the
specifiers given ("d=/run/credentials/x", "S=/var/lib") replace "%d" and "%S".
"""
import re
import shlex
import sys


def read_unit(path):
    """The [Service] settings as (key, value) pairs, continuation lines joined."""
    pairs, section, pending = [], None, ""
    for raw in open(path, encoding="utf-8"):
        line = raw.rstrip("\n")
        if pending:
            line = pending + line.lstrip()
            pending = ""
        if line.endswith("\\"):
            pending = line[:-1] + " "
            continue
        stripped = line.strip()
        if not stripped or stripped[0] in "#;":
            continue
        if stripped.startswith("["):
            section = stripped
            continue
        if section == "[Service]" and "=" in stripped:
            key, value = stripped.split("=", 1)
            pairs.append((key.strip(), value.strip()))
    return pairs


def expand_specifiers(text, specifiers):
    return re.sub(r"%(.)", lambda m: "%" if m.group(1) == "%" else specifiers[m.group(1)], text)


def main():
    arguments = sys.argv[1:]
    overrides = []
    if "--" in arguments:
        index = arguments.index("--")
        arguments, overrides = arguments[:index], arguments[index + 1:]
    unit, environment_file, *specifier_pairs = arguments
    specifiers = dict(pair.split("=", 1) for pair in specifier_pairs)
    environment = {}
    command = None
    for key, value in read_unit(unit):
        if key == "Environment":
            for assignment in shlex.split(value):
                name, _, setting = assignment.partition("=")
                environment[name] = expand_specifiers(setting, specifiers)
        elif key == "ExecStart":
            command = value
    for line in open(environment_file, encoding="utf-8"):
        line = line.strip()
        if line and not line.startswith("#") and "=" in line:
            name, _, setting = line.partition("=")
            environment[name.strip()] = setting.strip()
    for pair in overrides:
        name, _, setting = pair.partition("=")
        environment[name] = setting
    if command is None:
        sys.exit(f"{unit}: no ExecStart=")

    words = []
    for word in shlex.split(expand_specifiers(command, specifiers)):
        whole = re.fullmatch(r"\$\{(\w+)\}", word)
        split = re.fullmatch(r"\$(\w+)", word)
        if whole:
            words.append(environment.get(whole.group(1), ""))
        elif split:
            words.extend(shlex.split(environment.get(split.group(1), "")))
        else:
            words.append(re.sub(r"\$\{(\w+)\}", lambda m: environment.get(m.group(1), ""), word))
    print("\n".join(words))


main()
