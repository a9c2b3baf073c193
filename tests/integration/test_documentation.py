"""The documentation: somebody who has a machine and the packages, and types
what its pages say, sees what they show."""

import pathlib
import re
import shutil

import pytest

from documentation_support import (BY_HAND, CONSOLE, SOURCE, Command, Reader,
                                   blocks, commands_of, inline_commands,
                                   matches, mistakes)
from machine import OPERATOR, Shell
from machine_support import (ROOT, fixture_machine, fixture_packages,
                             fixture_show_journal, on_a_machine)


def text_of(name):
    return (ROOT / name).read_text("utf-8")


DOCUMENTS = ["README.md", *sorted(
    str(path.relative_to(ROOT)) for path in (ROOT / "docs").rglob("*.md"))]

# In the order in which somebody reads them: a page goes on from those before.
PAGES = ["docs/installation.md", "docs/tutorial.md",
         *(name for name in DOCUMENTS if name.startswith("docs/dbus/")
           and commands_of(text_of(name))),
         "docs/simulated-board.md", "docs/port-configuration.md",
         "docs/troubleshooting.md"]

# What is typed in the source tree and takes too long to be run once more, and
# what runs it here: file, function, and the words there that do.
COVERED = {
    "scripts/run": (
        "test_scripts.py",
        "test_run_shows_changes_as_they_come_until_interrupted",
        "demonstrate()"),
    "scripts/run --for 60": (
        "test_scripts.py", "test_run_ends_by_itself_when_told_for_how_long",
        'demonstrate("--for", '),
    "scripts/package": (
        "machine_support.py", "packages_of", 'run([ROOT / "scripts/package", '),
    "meson install -C build/release": (
        "test_installed_files.py", "fixture_installed",
        'run(["meson", "install", "-C", build, '),
}
# What runs the tests, this one among them.
OURSELVES = {"scripts/test", "scripts/test plain"}


# The pages

@pytest.mark.build("plain")
@pytest.mark.parametrize("name", DOCUMENTS)
def test_every_block_says_what_it_is(name):
    assert mistakes(text_of(name)) == []


@pytest.mark.build("plain")
def test_every_page_with_commands_is_followed():
    assert {name for name in DOCUMENTS
            if commands_of(text_of(name), CONSOLE)} <= set(PAGES)


@pytest.mark.build("plain")
def test_nothing_but_cross_building_is_left_to_be_tried_by_hand():
    assert [name for name in DOCUMENTS
            if commands_of(text_of(name), BY_HAND)] == ["docs/porting.md"]


@pytest.mark.build("plain")
@pytest.mark.parametrize("name", DOCUMENTS)
def test_what_is_typed_in_the_middle_of_a_text_is_typed_in_a_block_too(name):
    typed = {command.text for page in DOCUMENTS for info in (CONSOLE, SOURCE)
             for command in commands_of(text_of(page), info)}
    assert [line for line in inline_commands(text_of(name))
            if line not in OURSELVES
            and not any(f"{line} " in f"{command} " for command in typed)] == []


def packages_in_the_way(machine):
    """What an empty machine does not have."""
    tools = ["cc", "gcc", "g++", "make", "meson", "ninja", "pkg-config",
             "python3", "gdb", "orvad", "orvadctl", "simboard"]
    found = machine.output(
        "sh", "-c", 'for tool; do command -v "$tool"; done; '
        "find / -xdev '(' -name '*orvad*' -o -name '*simboard*' ')' "
        "-not -path '/root/*.deb' -not -path '/run/host/*'", "sh", *tools)
    users = machine.output("getent", "passwd", "qel", check=False)
    return found + users


# On one machine, in this order.

@on_a_machine
def test_machine_is_empty(machine):
    assert packages_in_the_way(machine) == ""
    assert "orvad" not in machine.output("dpkg-query", "--show")


@on_a_machine
@pytest.mark.parametrize("name", PAGES)
def test_page_does_what_it_says(machine, name):
    with Reader(machine.shell) as reader:
        assert reader.follow(text_of(name)) > 0


# The source tree

@pytest.fixture(name="in_source")
def fixture_in_source(tmp_path):
    """in_source(user): a shell in a copy of the source tree. It can change
    nothing else: what it writes to /tmp is gone with it."""
    copy = tmp_path / "orvad"
    shutil.copytree(ROOT, copy, symlinks=True,
                    ignore=lambda path, names: {"build", ".git"} & set(names)
                    if pathlib.Path(path) == ROOT else set())

    def log_in(_user):
        return Shell(["bwrap", "--ro-bind", "/", "/", "--dev", "/dev",
                      "--proc", "/proc", "--tmpfs", "/tmp", "--bind", copy,
                      "/tmp/orvad", "--chdir", "/tmp/orvad", "--setenv",
                      "HOME", "/tmp", "--die-with-parent", "bash"])
    return log_in


@pytest.mark.build("plain")
@pytest.mark.parametrize("name", [
    name for name in DOCUMENTS if commands_of(text_of(name), SOURCE)])
def test_commands_for_the_source_tree_work(in_source, name):
    with Reader(in_source) as reader:
        for command in commands_of(text_of(name), SOURCE):
            if command.text not in {*COVERED, *OURSELVES}:
                reader.type(command)


@pytest.mark.build("plain")
@pytest.mark.parametrize("command", COVERED)
def test_command_that_is_not_run_there_is_run_elsewhere(command):
    file, function, words = COVERED[command]
    text = (ROOT / "tests/integration" / file).read_text("utf-8")
    assert words in re.search(rf"\ndef {function}\(.*?(?=\n\n\n|\Z)", text,
                              re.S)[0]


# What notices that a page is wrong

PAGE = """# A page

```console
# cat >/tmp/x <<'END'
# no command, nor is
$ this
END
# x=7; cd /
$ echo one; \\
    echo two
one
two
# echo $x; pwd
...
/
# sh -c 'echo lost >&2; exit 3'
l…t
[exit status 3]
```

1. In a list:

   ```xml
   <ports/>
   ```
"""


def console(*lines):
    """A page with one console block."""
    return "\n".join(["```console", *lines, "```", ""])


@pytest.fixture(name="follow")
def fixture_follow(tmp_path):
    """follow(page): as on a machine, but here, as whoever runs the tests."""
    def follow(page):
        def log_in(user):
            return Shell(["env", "-i", f"USER={user}", f"--chdir={tmp_path}",
                          "PATH=/usr/bin:/bin", "bash"])
        with Reader(log_in) as reader:
            return reader.follow(page)
    return follow


def test_blocks_are_found_with_their_lines():
    assert [(block.info, block.line, len(block.lines))
            for block in blocks(PAGE + "\nText\n\n    indented\n")] == [
        ("console", 4, 15), ("xml", 24, 1), (None, 29, 1)]


def test_commands_are_told_from_what_they_print():
    assert commands_of(PAGE) == [
        Command("root", "cat >/tmp/x <<'END'\n# no command, nor is\n$ this\n"
                "END", 4),
        Command("root", "x=7; cd /", 8),
        Command(OPERATOR, "echo one; \\\n    echo two", 9, ("one", "two")),
        Command("root", "echo $x; pwd", 13, ("...", "/")),
        Command("root", "sh -c 'echo lost >&2; exit 3'", 16, ("l…t",), 3)]


@pytest.mark.parametrize(("expected", "output"), [
    (["a", "b"], "a\nb\n"), (["..."], ""), (["..."], "a\nb\n"),
    (["...", "b"], "b\n"), (["a", "...", "c"], "a\nb\nb\nc\n"),
    (["uid=…(qel)"], "uid=64(qel)\n"), (["…"], "a\n"), (["a.c"], "a.c")])
def test_output_is_as_expected(expected, output):
    assert matches(expected, output)


@pytest.mark.parametrize(("expected", "output"), [
    (["a"], ""), (["a"], "b\n"), (["a"], "a\nb\n"), (["a", "b"], "a\n"),
    (["...", "b"], "b\na\n"), (["a…c"], "a\nc\n"), (["a.c"], "abc\n"),
    (["…"], "a\nb\n")])
def test_other_output_is_noticed(expected, output):
    assert not matches(expected, output)


def test_page_is_followed(follow):
    assert follow(console("# x=7", "# cd /", "# echo $x; pwd", "7", "/",
                          "$ echo \"$USER-$x\"", "operator-",
                          "# cat <<END", "$x", "END", "7")) == 5


@pytest.mark.parametrize(("lines", "complaint"), [
    (["# flase"], "line 2: flase\nended with status 127"),
    (["# echo one", "two"], "-two\n+one"),
    (["# true", "one"], "-one"),
    (["# echo one", "one", "two"], "-two"),
    (["# false"], "ended with status 1, not 0"),
    (["# echo one", "one", "[exit status 1]"], "ended with status 0, not 1"),
    (["# true", "[exit status 1]"], "ended with status 0, not 1"),
    (["# exit 2"], "ended with status 2, not 0")])
def test_page_that_is_wrong_is_noticed(follow, lines, complaint):
    with pytest.raises(AssertionError) as error:
        follow(console("# true", *lines).replace("# true\n", "", 1))
    assert complaint in str(error.value)


def test_command_that_does_not_end_is_noticed():
    with Shell(["bash"]) as shell, pytest.raises(AssertionError) as error:
        shell.run("echo one; sleep 1000", timeout=0.2)
    assert "still runs, and has printed: one" in str(error.value)


def test_who_logs_out_can_log_in_again(follow):
    assert follow(console("# x=7", "# exit", "# echo \"$x\"", "")) == 3


@pytest.mark.parametrize(("page", "complaint"), [
    ("    orvadctl list\n", "line 1: indented, not fenced"),
    ("```\norvadctl list\n```\n", "line 2: what is ''?"),
    ("```sh\norvadctl list\n```\n", "line 2: what is 'sh'?"),
    ("```text\nName\n  sudo orvadctl list\n```\n",
     "line 3: a command that nobody runs:   sudo orvadctl list"),
    ("```text\n$ ls\n```\n", "line 2: a command that nobody runs: $ ls"),
    (console("orvadctl list"), "line 2: not a command: orvadctl list"),
    (console("# cat <<END", "END "),
     "line 2: a here-document without its END")])
def test_block_that_hides_commands_is_noticed(page, complaint):
    assert mistakes(page) == [complaint]


def test_command_lines_in_a_text_are_told_from_names():
    assert inline_commands(
        "`orvadctl list`, `orvadctl get 1`, `systemctl`, `orvad.conf`\n\n"
        "| a | b |\n|---|---|\n| `a: b` | `chown root x` |\n\n"
        "```console\n# orvadctl get 2\n```\n") == [
            "orvadctl get 1", "chown root x"]


def test_page_as_it_should_be_has_no_mistakes():
    assert mistakes(PAGE) == []
