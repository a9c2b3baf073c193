"""What the documentation has its readers type, and what they are to see.

A block with the info string "console" holds commands: "# " before root's,
"$ " before an ordinary user's. A line that ends in a backslash goes on in the
next; a here-document belongs to its command. The lines behind are what the
command prints: "..." alone is any lines, or none, "…" in a line any text, and
"[exit status 3]", as the last one, the status if it is not 0.

Commands of "console source" are typed in the source tree, those of "console
by-hand" are more than a test run bears.
"""

import dataclasses
import difflib
import re

from markdown_it import MarkdownIt

CONSOLE = "console"
SOURCE = "console source"
BY_HAND = "console by-hand"
DATA = {"xml", "ini", "conf", "text", "json", "c", "cpp", "meson", "mermaid"}
USERS = {"# ": "root", "$ ": "operator"}

_STATUS = re.compile(r"\[exit status (\d+)\]")
_HERE_DOCUMENT = re.compile(r"(?<!<)<<(?!<)(-?)\s*(['\"]?)(\w+)\2")
_COMMAND = re.compile(
    r"\s*([$#] |(sudo |\./)*(orvad|orvadctl|simboard|scripts/\w+|meson|ninja"
    r"|systemctl|journalctl|apt-get|dpkg|busctl|gdbus|udevadm)( |$))")

_INLINE = re.compile(
    r"(?:(?:orvadctl|simboard) \S+(?= [^-])|scripts/\w+|meson|ninja"
    r"|systemctl|systemd-\S+|journalctl|apt-get|dpkg|busctl|gdbus|udevadm|setpriv|runuser|modprobe"
    r"|mount|chown|chmod|cat|ls|ps|test|xmllint) [^…]+")


@dataclasses.dataclass(frozen=True)
class Block:
    """info: the info string, None of an indented one. line: where it is."""
    info: str | None
    lines: tuple
    line: int


@dataclasses.dataclass(frozen=True)
class Command:
    """expected: the lines that it has to print; none: it may print anything."""
    user: str
    text: str
    line: int
    expected: tuple | None = None
    status: int = 0


def blocks(text):
    """Those of a page."""
    found = []
    for token in MarkdownIt().parse(text):
        if token.type in ("fence", "code_block"):
            info = token.info.strip() if token.type == "fence" else None
            found.append(Block(info, tuple(token.content.splitlines()),
                               token.map[0] + (token.type == "fence") + 1))
    return found


def mistakes(page):
    """What of the blocks is not as the head of this file says: lines for a
    person."""
    found = []
    for block in blocks(page):
        if block.info in (CONSOLE, SOURCE, BY_HAND):
            try:
                commands(block)
            except ValueError as error:
                found.append(str(error))
        elif block.info is None:
            found.append(f"line {block.line}: indented, not fenced")
        elif block.info not in DATA:
            found.append(f"line {block.line}: what is {block.info!r}?")
        elif block.info == "text":
            found += [f"line {number}: a command that nobody runs: {line}"
                      for number, line in enumerate(block.lines, block.line)
                      if _COMMAND.match(line)]
    return found


def _take_command(lines):
    """Takes a command, without its prompt, off the lines."""
    taken = [lines.pop(0)[2:]]
    while taken[-1].endswith("\\") and lines:
        taken.append(lines.pop(0))
    for dash, _, end in _HERE_DOCUMENT.findall("\n".join(taken)):
        while lines:
            taken.append(lines.pop(0))
            if (taken[-1].lstrip("\t") if dash else taken[-1]) == end:
                break
        else:
            raise ValueError(f"a here-document without its {end}")
    return "\n".join(taken)


def _take_output(lines):
    """Takes what a command prints off the lines; its lines and its status."""
    taken = []
    while lines and lines[0][:2] not in USERS:
        taken.append(lines.pop(0))
    while taken and not taken[-1]:
        taken.pop()
    status = _STATUS.fullmatch(taken[-1]) if taken else None
    if status:
        taken.pop()
    return tuple(taken) or None, int(status[1]) if status else 0


def commands(block):
    """Those of a console block."""
    lines = list(block.lines)
    found = []
    while lines:
        number = block.line + len(block.lines) - len(lines)
        user = USERS.get(lines[0][:2])
        if user is None:
            raise ValueError(f"line {number}: not a command: {lines[0]}")
        try:
            text = _take_command(lines)
        except ValueError as error:
            raise ValueError(f"line {number}: {error}") from None
        expected, status = _take_output(lines)
        found.append(Command(user, text, number, expected, status))
    return found


def commands_of(page, info=CONSOLE):
    """All commands of a page that are typed there, in order."""
    return [command for block in blocks(page) if block.info == info
            for command in commands(block)]


def inline_commands(page):
    """Whole command lines, with their arguments, in the text of a page. The name
    of a program, or of a command of one of ours, is none."""
    return [part.content
            for token in MarkdownIt().enable("table").parse(page)
            for part in token.children or []
            if part.type == "code_inline" and _INLINE.fullmatch(part.content)]


def matches(expected, output):
    """Whether a command has printed what is expected of it."""
    pattern = "".join(
        r"(?:.*\n)*?" if line == "..." else
        ".*".join(map(re.escape, line.rstrip().split("…"))) + r"[ \t]*\n"
        for line in expected)
    return re.fullmatch(pattern, output.rstrip("\n") + "\n") is not None


def check(command, output, status):
    """Fails unless a command has done what its page says."""
    head = f"line {command.line}: {command.text}\n"
    if status != command.status:
        raise AssertionError(f"{head}ended with status {status}, "
                             f"not {command.status}:\n{output}")
    if command.expected is not None and \
            not matches(command.expected, output):
        raise AssertionError(head + "\n".join(difflib.unified_diff(
            command.expected, output.splitlines(), "the page",
            "the command", lineterm="")))


class Reader:
    """Somebody who types what a page says. log_in(user): a new Shell."""

    def __init__(self, log_in):
        self._log_in = log_in
        self._shells = {}

    def __enter__(self):
        return self

    def __exit__(self, *error):
        for shell in self._shells.values():
            shell.close()

    def type(self, command):
        """One command; who has logged out, with "exit", logs in again."""
        shell = self._shells.get(command.user)
        if shell is not None and shell.ended:
            shell.close()
            shell = None
        if shell is None:
            shell = self._shells[command.user] = self._log_in(command.user)
        try:
            output, status = shell.run(command.text)
        except AssertionError as error:
            raise AssertionError(
                f"line {command.line}: {command.text}\n{error}") from None
        check(command, output, status)

    def follow(self, page):
        """Everything, from top to bottom; how many commands that were."""
        found = commands_of(page)
        for command in found:
            self.type(command)
        return len(found)
