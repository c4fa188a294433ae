#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Runs the commands of a transcript and compares what they print with what stands below them.

  transcript.py [--page] [--link TARGET=NAME]... [--copy FILE]... [--replace TEXT=BY]... TRANSCRIPT

A line "$ COMMAND" is a command of the shell, lines "> TEXT" directly below it continue it, and the
lines up to the next command are what it prints, to stdout and stderr together. "..." stands for any
text within a line, and on a line of its own for any lines. A command that ends with another exit
code than 0 has "[CODE]" as its last line. All commands run in one shell, so that variables and
folders stay, in a temporary folder that has the linked and copied files. Texts of the transcript
that hold on a user's machine are replaced by those of this one.

With --page the transcript is a page of the documentation: only its blocks between ``` and ``` count,
without a language behind the first mark, and exit codes aren't looked at.
"""

import argparse
import difflib
import os
import pty
import re
import shutil
import subprocess
import sys
import tempfile
import tty

END = "\x1e"  # between the outputs, followed by the exit code


class Step:
    def __init__(self, line_number, command):
        self.line_number = line_number
        self.command = command
        self.expected = []


def relevant_lines(lines, is_page):
    """The numbered lines that count, with None between two blocks of a page."""
    block = None  # what stands behind the mark that began the block
    for number, line in enumerate(lines, 1):
        if not is_page:
            yield number, line
        elif line.startswith("```"):
            block = line[3:] if block is None else None
            yield number, None
        elif block == "":
            yield number, line


def read_steps(lines, is_page):
    steps = []
    step = None
    for number, line in relevant_lines(lines, is_page):
        if line is None:
            step = None
        elif line.startswith("$ "):
            step = Step(number, line[2:])
            steps.append(step)
        elif step and not step.expected and line.startswith("> "):
            step.command += "\n" + line[2:]
        elif step:
            step.expected.append(line)
    return steps


def output_of(command, folder):
    """What a command prints to a terminal: in the order in which a user sees it."""
    reader, terminal = pty.openpty()
    tty.setraw(terminal)  # line ends stay as they are
    process = subprocess.Popen(command, cwd=folder, stdin=subprocess.DEVNULL, stdout=terminal,
                               stderr=terminal, start_new_session=True)
    os.close(terminal)
    output = b""
    while True:
        try:
            piece = os.read(reader, 65536)
        except OSError:  # nobody holds the terminal any more
            piece = b""
        if not piece:
            break
        output += piece
    process.wait()
    os.close(reader)
    return output.decode("utf-8", "backslashreplace")


def run(steps, folder):
    """The lines that each command printed, and its exit code."""
    script = "".join(f"{step.command}\nprintf '{END}%d{END}' $?\n" for step in steps)
    with open(os.path.join(folder, ".transcript"), "w", encoding="utf-8") as file:
        file.write(script)
    parts = output_of(["sh", ".transcript"], folder).split(END)
    return [(output.splitlines(), int(code)) for output, code in zip(parts[::2], parts[1::2])]


def pattern(line):
    return ".*".join(re.escape(part) for part in line.split("..."))


def matches(expected, actual):
    whole = "".join("(?:.*\n)*" if line == "..." else pattern(line) + "\n" for line in expected)
    return re.fullmatch(whole, "".join(line + "\n" for line in actual)) is not None


def report(path, step, actual):
    # What a pattern fits is shown as the pattern, so that the difference stands alone.
    patterns = [line for line in step.expected if "..." in line and line != "..."]
    shown = [next((line for line in patterns if re.fullmatch(pattern(line), text)), text)
             for text in actual]
    print(f"{path}:{step.line_number}: $ {step.command}")
    print("\n".join(difflib.unified_diff(step.expected, shown, "expected", "printed", lineterm="")))


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--page", action="store_true")
    parser.add_argument("--link", action="append", default=[])
    parser.add_argument("--copy", action="append", default=[])
    parser.add_argument("--replace", action="append", default=[])
    parser.add_argument("transcript")
    options = parser.parse_args()
    with open(options.transcript, encoding="utf-8") as file:
        text = file.read()
    for replacement in options.replace:
        text = text.replace(*replacement.split("=", 1))
    steps = read_steps(text.splitlines(), options.page)
    with tempfile.TemporaryDirectory(prefix="transcript-") as folder:
        for link in options.link:
            target, name = link.rsplit("=", 1)
            os.symlink(target, os.path.join(folder, name))
        for file in options.copy:
            shutil.copy(file, folder)
        results = run(steps, folder)
    failures = 0
    for step, (output, code) in zip(steps, results):
        if code != 0 and not options.page:
            output.append(f"[{code}]")
        if not matches(step.expected, output):
            report(options.transcript, step, output)
            failures += 1
    if len(results) < len(steps) or not steps:
        print(f"{options.transcript}: {len(results)} of {len(steps)} commands came to their end")
        failures += 1
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
