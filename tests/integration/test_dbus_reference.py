"""The D-Bus reference in docs/dbus/: as the descriptions say, and true."""

import importlib.machinery
import importlib.util
import pathlib
import re
import shlex
import xml.etree.ElementTree as ElementTree

import pytest

from installed_support import documented_files
from orvadctl_mock_support import (fixture_bus, fixture_make_mock,
                                   fixture_run, output)
from orvadctl_support import fixture_program
from test_orvadctl_methods import LINES, fixture_services

_ROOT = pathlib.Path(__file__).resolve().parents[2]
PAGES = _ROOT / "docs/dbus"
NOWHERE = "unix:path=/nonexistent"

_loader = importlib.machinery.SourceFileLoader(
    "dbus_reference", str(_ROOT / "scripts/dbus-reference"))
reference = importlib.util.module_from_spec(
    importlib.util.spec_from_loader(_loader.name, _loader))
_loader.exec_module(reference)


def members():
    """(interface, method or property), of all descriptions."""
    return [(interface.get("name"), member)
            for path in reference.DESCRIPTIONS
            for interface in ElementTree.parse(path).iter("interface")
            for member in (*interface.iter("method"),
                           *interface.iter("property"))]


def words_of_example(interface, member):
    example = reference.EXAMPLES[interface][member.get("name")]
    return shlex.split(example.arguments)


def test_the_pages_are_what_the_descriptions_make_of_them():
    assert {path.name: path.read_text("utf-8")
            for path in PAGES.glob("*")} == reference.pages()


def test_every_member_of_every_description_is_on_a_page():
    text = "".join(reference.pages().values())
    for interface, member in members():
        assert f"{interface} {member.get('name')}" in text
        assert f"### {member.get('name')}" in text


def test_those_descriptions_are_installed_that_the_index_says():
    interfaces = "/usr/share/dbus-1/interfaces/"
    index = reference.pages()["index.md"]
    assert "of `com.vexa.…`" in index and "of `org.orvad.…` are not" in index
    assert {path for path in documented_files()
            if path.startswith(interfaces)} == {
        f"{interfaces}{path.name}" for path in reference.DESCRIPTIONS
        if path.name.startswith("com.vexa.")}


def test_no_example_is_of_a_member_that_is_not_there():
    assert {(interface, name) for interface, examples
            in reference.EXAMPLES.items() for name in examples} == \
        {(interface, member.get("name")) for interface, member in members()}


def test_the_examples_have_the_arguments_that_the_methods_take():
    for interface, member in members():
        if member.tag != "method":
            continue
        wanted = "".join(argument.get("type") for argument
                         in member.iter("arg")
                         if argument.get("direction") == "in")
        given = words_of_example(interface, member)
        assert (given[0] if given else "") == wanted, member.get("name")


def test_the_examples_name_commands_and_options_that_the_client_has(program):
    for interface, examples in reference.EXAMPLES.items():
        for name, example in examples.items():
            if not example.command:
                continue
            command, *options = example.command.split()
            answer = program.run(NOWHERE, "help", command)
            assert answer.returncode == 0, (interface, name, command)
            for option in options:
                assert re.search(rf"{option}\b", answer.stdout)


# What LINES only sets, read.
READING = [["direction", "4"], ["polarity", "lamp"], ["name", "lamp"],
           ["usage", "lamp"]]


def test_the_commands_of_the_examples_call_the_methods(services, run):
    """But for the one that is refused, and properties, which are read alike."""
    called = {}
    for words in [*LINES, *READING]:
        before = {name: len(mock.calls) for name, mock in services.items()}
        output(run(*words))
        called.setdefault(words[0], set()).update(
            (name, method) for name, mock in services.items()
            for method, _ in mock.calls[before[name]:])
    for interface, member in members():
        example = reference.EXAMPLES[interface][member.get("name")]
        if member.tag == "method" and not example.status:
            assert (interface, member.get("name")) in called[
                example.command.split()[0]]
        elif member.tag == "property":
            assert example.command == "legacy"


@pytest.mark.parametrize("signature, words", [
    ("s", "text"),
    ("ay", "bytes"),
    ("a(suu)", "array of (text; 32-bit number, unsigned; "
               "32-bit number, unsigned)"),
    ("a(ua{sv})", "array of (32-bit number, unsigned; "
                  "dictionary of text to value of any type)"),
    ("a{s(ss)}", "dictionary of text to (text; text)"),
    ("aai", "array of array of 32-bit number"),
])
def test_types_are_told_in_words(signature, words):
    assert reference.type_in_words(signature) == words


def test_what_markdown_would_take_as_markup_is_escaped():
    assert reference.escape("/<number>, \"*\" a|b") == \
        "/\\<number>, \"\\*\" a\\|b"


def test_a_page_of_a_description_that_is_gone_is_removed(tmp_path,
                                                         monkeypatch):
    (tmp_path / "com.vexa.Gone.md").write_text("", "utf-8")
    monkeypatch.setattr("sys.argv", ["dbus-reference", str(tmp_path)])
    reference.main()
    assert {path.name for path in tmp_path.glob("*")} == \
        set(reference.pages())
