#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The input filter of Doxygen: a public header with its contracts as Doxygen wants them.

Headers carry plain comments. What stands at the head becomes the description of the family's page,
with the example of the family behind it; a comment in front of declarations describes each of them
up to the next empty line or comment; a comment behind a member describes that. Indented lines are
code or tables, and stay as they are. Private parts, and what stands behind the end of the public
interface, are left out. A comment of the public part that describes nothing is an error, since it
would be missing from the pages, and so is a call that nothing describes.
"""
import pathlib
import re
import sys

# The families: header, title, part of the library, examples.
FAMILIES = {
    "ztbdefs": ("Common definitions", "frame", ()),
    "ztbinit": ("Lifecycle", "frame", ("typical_road",)),
    "ztbsingleton": ("Singletons", "frame", ("singletons",)),
    "ztbmempool": ("Memory pool", "frame", ("memory_pool",)),
    "ztbmessage": ("Messages", "frame", ("messages",)),
    "ztbstring": ("Strings", "text", ("strings",)),
    "ztconvert": ("16-bit text", "text", ("utf16",)),
    "ztbstringformat": ("Formatting and unique texts", "text", ("strings",)),
    "ztbdeterminetype": ("Type detection", "text", ("detect_types",)),
    "ztbreal": ("Decimal numbers", "values", ("decimals",)),
    "ztbdate": ("Dates", "values", ("dates",)),
    "ztbdatavar": ("Variants", "values", ("variants",)),
    "ztbconfigfile": ("Configuration files", "configuration", ("edit_config",)),
    "ztbconfigoverlay": ("Configuration overlays", "configuration", ("overlay",)),
    "ztbconfigoptions": ("Option stores", "configuration", ("startup",)),
    "ztbstartup": ("Start-up", "configuration", ("startup",)),
    "ztbtxtfile": ("Text files", "files", ("text_lines",)),
    "ztbtxtfilefw": ("Fixed-width files", "files", ("records",)),
    "ztbdir": ("Paths and listings", "files", ("folders",)),
    "ztbparse": ("Attribute texts", "files", ("attributes",)),
    "zturi": ("URIs", "uris", ("uris",)),
    "ztdatauri": ("Data URIs", "uris", ("uris",)),
    "ztreposuri": ("Repository URIs", "uris", ("uris",)),
    "ztwturi": ("Work-table URIs", "uris", ("uris",)),
    "ztbtemplate": ("Templates", "actions", ("templates",)),
    "ztbexecute": ("Programs", "actions", ("run_program",)),
    "ztbemail": ("Mail", "actions", ("send_mail",)),
    "ztbsubject": ("The user of the process", "identity", ("login",)),
    "ztbencrypt": ("Protected texts", "identity", ("protected_texts",)),
    "sssharedbuffer": ("Shared buffers", "services", ("shared_buffers",)),
    "rtprofiler": ("Profiler", "services", ("profiler",)),
}

COMMENT = re.compile(r"^\s*//(?: (.*)|)$")
TRAILING = re.compile(r"^(\s*[^/\s].*?[;,]?)\s+// (.*)$")
CALL = re.compile(r"\w\(")
LIST_ITEM = re.compile(r"^\s*(-|\d+\.) ")
PUBLIC_END = "// The public interface ends here."


def prose(text):
    """Text that Doxygen shows as it stands: code between backticks, and quoted texts, by itself."""
    parts = re.split(r'(`[^`]*`|"[^"]*")', text)
    for i in range(0, len(parts), 2):
        parts[i] = re.sub(r"([\\@<>&#%*$~])", r"\\\1", parts[i])
    return "".join(parts)


def documentation(lines):
    """A comment's lines, without their slashes, as lines for Doxygen."""
    result, block, in_item = [], [], False

    def close():
        blank = []
        while block and not block[-1]:
            blank.append(block.pop())
        if block:
            is_code = any(line.endswith((";", "{")) for line in block)
            margin = min(len(line) - len(line.lstrip()) for line in block if line)
            name = ("code{.cpp}", "endcode") if is_code else ("code{.unparsed}", "endcode")
            result.append("@" + name[0])
            result.extend(line[margin:] for line in block)
            result.append("@" + name[1])
            block.clear()
        result.extend(blank)

    for line in lines:
        if block and (not line or line.startswith("  ")):
            block.append(line)
            continue
        close()
        if LIST_ITEM.match(line):
            in_item = True
        elif in_item and not line.startswith(" "):
            in_item = False
            if line:
                result.append("")
        if line.startswith("  ") and not in_item:
            block.append(line)
        else:
            result.append(prose(line))
    close()
    return result


class Filter:
    def __init__(self, path):
        self.path = path
        self.name = pathlib.Path(path).stem
        self.lines = pathlib.Path(path).read_text(encoding="utf-8").splitlines()
        self.out = []
        self.failed = False

    def emit(self, lines, mark="///"):
        self.out.extend((mark + " " + line).rstrip() for line in lines)

    def complain(self, number, text):
        print(f"{self.path}:{number}: {text}", file=sys.stderr)
        self.failed = True

    def head(self):
        """The comment at the head of the file, as the family's page. Gives the line behind it."""
        end = 1
        while COMMENT.match(self.lines[end]):
            end += 1
        texts = [COMMENT.match(line).group(1) or "" for line in self.lines[2:end]]
        title, part, examples = FAMILIES[self.name]
        self.emit([f"@file", f"@brief {title}: see @ref {self.name}."])
        self.out.append("")
        self.emit([f"@defgroup {self.name} {title}", f"@ingroup {part}", ""])
        self.emit(documentation(texts))
        for example in examples:
            self.emit(["", "@par Example", f"examples/{example}.cpp", f"@include {example}.cpp"])
        self.emit(["@{"])
        return end

    def body(self, start):
        comment, is_used, is_private, depth = [], True, False, 0
        classes = []  # whether the class around is one of its public part
        is_begun = False  # inside a declaration of several lines
        for number, line in enumerate(self.lines[start:], start + 1):
            if line.startswith(PUBLIC_END):
                break
            match = COMMENT.match(line)
            if match and not is_begun:
                if is_used:
                    comment, is_used = [], False
                comment.append(match.group(1) or "")
                continue
            if not line.strip():
                if not is_used and not is_private:
                    self.complain(number - 1, "this comment describes nothing")
                comment, is_used = [], True
                self.out.append("")
                continue
            if re.match(r"\s*(public|private|protected):", line):
                is_private = "private:" in line
                comment, is_used = [], True
                self.out.append(line)
                continue
            is_new = not is_begun and not re.match(r"#(?!define)", line) and not re.match(r"\s*\}", line)
            if line.startswith("};"):
                is_private = False
            if is_private:
                is_used = True
                self.out.append(line)
                continue
            if is_new and "= delete;" in line:
                self.emit(["Can't be copied."])
            elif is_new and comment:
                self.emit(documentation(comment))
            elif is_new and CALL.search(line):
                self.complain(number, "this call has no contract")
            is_used = True
            trailing = TRAILING.match(line)
            if trailing and is_new:
                line = trailing.group(1) + "  ///< " + prose(trailing.group(2))
            self.out.append(line)
            code = line.split("//")[0].rstrip()
            if not line.startswith("#"):
                is_begun = not code.endswith((";", "{", "}", ",")) or code.count("(") > code.count(")") \
                    or (is_begun and not code.endswith((";", "{", "}")))
            if code.endswith("{"):
                comment, is_used = [], True

    def run(self):
        self.body(self.head())
        self.emit(["@}"])
        return self


def list_headers():
    """Names the headers in the order of the families; fails if one isn't fit to be shown."""
    present = {path.stem for path in pathlib.Path("include").glob("*.h")} - {"ztbcpp31"}
    for name in sorted(present ^ set(FAMILIES)):
        print(f"include/{name}.h: not both a header and a family of this script", file=sys.stderr)
    paths = [f"include/{name}.h" for name in FAMILIES if name in present]
    failed = [path for path in paths if Filter(path).run().failed]
    print(*paths)
    return 1 if failed or present != set(FAMILIES) else 0


if __name__ == "__main__":
    if sys.argv[1] == "--headers":
        sys.exit(list_headers())
    print("\n".join(Filter(sys.argv[1]).run().out))
