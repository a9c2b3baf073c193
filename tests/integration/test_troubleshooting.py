"""docs/troubleshooting.md: every message that the daemon and the simulated
board can give is explained, and none that they cannot."""

import pathlib
import re

import pytest

_ROOT = pathlib.Path(__file__).resolve().parents[2]
PAGE = _ROOT / "docs/troubleshooting.md"
SOURCES = [path for folder in ("src", *(
    f"subprojects/{name}/src" for name in
    ("confutils", "libugpio", "vxconfevent", "vxevent", "vxlog")))
    for path in sorted((_ROOT / folder).rglob("*.cpp"))]

# What logs, and how many arguments come before the format.
CALLS = {r"\bg_error": 0, r"\bg_critical": 0, r"\bg_warning": 0,
         r"\bg_message": 0, r"\bg_info": 0, r"\bg_debug": 0, r"\bg_log": 2,
         r"\butil::print_err": 0, r"\butil::print_out": 0,
         r"(?:\.|->)warn": 0}

# Calls whose whole text comes from elsewhere: what in the file is such a text.
# None: the text is another call's, or the system's.
PASSED_ON = {
    "src/util/rate-limit.cpp": None,
    "src/dbus/exported.cpp": None,
    "src/dbus/iocontrol-conf-legacy-dbus.cpp":
        r'kRegistrationFailure =\s*("[^"]*")',
    "src/dbus/iocontrol-dbus.cpp": r'\.failure = ("[^"]*")',
    "src/dbus/iosupervised-dbus.cpp": r'\.failure = ("[^"]*")',
    "src/dbus/service-registry.cpp": r'_text\(ports\),\s*("[^"]*")',
    "src/backends/iio-int-setup.cpp": r'("Couldn\'t close [^"]*")',
}

_LITERAL = r'"(?:[^"\\]|\\.)*"'


def read(path):
    return path.read_text("utf-8")


def name_of(path):
    return str(path.relative_to(_ROOT))


def joined(literals):
    """The text of adjacent string literals."""
    text = "".join(part[1:-1] for part in re.findall(_LITERAL, literals))
    return text.replace('\\"', '"').replace("\\n", "")


def as_on_the_page(text):
    return re.sub(r"%(?:%|[-+ #0]*\d*(?:\.\d+)?[hlz]*[diuxscf])", "…", text)


def first_arguments(source, call, skipped):
    """The format of each call in source: literals, or a name."""
    before = r"[^,()]*,\s*" * skipped
    pattern = rf"{call}\(\s*{before}({_LITERAL}(?:\s*" \
              rf"{_LITERAL})*|\w+)\s*[,)]"
    return re.findall(pattern, source)


def formats(path):
    """Every format that the file logs with."""
    source = read(path)
    for call, skipped in CALLS.items():
        for argument in first_arguments(source, call, skipped):
            if not argument.startswith('"'):
                argument = re.search(
                    rf"\b{argument}\[\] =\s*({_LITERAL})", source)[1]
            yield joined(argument)


def messages():
    """Every message, as the page has it -> the files that log it."""
    found = {}
    for path in SOURCES:
        texts = [text for text in formats(path) if text != "%s"]
        pattern = PASSED_ON.get(name_of(path))
        if pattern:
            texts += map(joined, re.findall(pattern, read(path)))
        for text in texts:
            found.setdefault(as_on_the_page(text), set()).add(name_of(path))
    return found


def preconditions():
    """Those that are logged as GLib logs a failed precondition."""
    return {"…: assertion '…' failed" for path in SOURCES
            if re.search(r"g_return_if_fail_warning\(|"
                         r"WARN_FAILED_PRECONDITION\(|"
                         r"\bg_return_(val_)?if_fail\(", read(path))}


def assertions(folder):
    """What the assertions in a folder say when they end the daemon."""
    return {f"assertion failed: ({' '.join(expression.split())})"
            for path in sorted((_ROOT / "src" / folder).glob("*.cpp"))
            for expression in re.findall(
                r"\bMODULE_ASSERT\(\s*[\w:\".-]+,\s*(.*?)\);", read(path),
                re.S)}


def explained(of_board=False):
    """The messages on the page, the daemon's or the simulated board's: what
    stands first in the rows of its tables."""
    parts = read(PAGE).split("\n## The simulated board\n")
    return re.findall(r"^\| `([^`]+)` \|", parts[of_board], re.M)


def test_every_message_is_on_the_page_and_no_other():
    of_page = {text for text in explained()
               if not text.startswith("assertion failed: ")
               and text != "code should not be reached"}
    assert of_page == set(messages()) | preconditions()


@pytest.mark.parametrize("of_board", [False, True])
def test_no_message_is_there_twice(of_board):
    texts = explained(of_board)
    assert len(texts) == len(set(texts))


def test_every_message_of_the_simulated_board_is_on_the_page_and_no_other():
    """Command lines that are wrong have their usage for an answer."""
    texts = {as_on_the_page(joined(literals))
             for path in (_ROOT / "tools/simboard").glob("*.cpp")
             if path.name != "main.cpp"
             for literals in re.findall(
                 rf"\bset_(?:failure|usage_error)\(\s*\w+,\s*"
                 rf"({_LITERAL}(?:\s*{_LITERAL})*)", read(path))}
    assert set(explained(of_board=True)) == texts - {"…"}


def test_the_assertions_that_a_configuration_can_fail_are_on_the_page():
    of_page = {text for text in explained()
               if text.startswith("assertion failed: ")}
    everywhere = {text for folder in (_ROOT / "src").iterdir()
                  for text in assertions(folder.name)}
    wanted = assertions("backends") | assertions("events") | {
        "assertion failed: (port->functions != NULL)"}
    assert wanted <= of_page <= everywhere
    assert "code should not be reached" in explained()


def test_no_call_passes_a_text_on_that_is_not_known_of():
    assert {name_of(path) for path in SOURCES
            if "%s" in formats(path)} <= set(PASSED_ON)


def test_no_call_is_overlooked():
    for path in SOURCES:
        calls = sum(len(re.findall(rf"{call}\(", read(path)))
                    for call in CALLS)
        assert len(list(formats(path))) == calls, name_of(path)


def test_every_row_says_what_it_means_and_what_to_do():
    rows = re.findall(r"^\| `.*$", read(PAGE), re.M)
    for row in rows:
        _, meaning, remedy = row.strip("|").split(" | ")
        assert meaning.strip() and remedy.strip(), row


def test_calls_are_found_in_every_form():
    source = '''
        g_warning("One %s: " "two", x);
        g_log(nullptr, util::kLogLevelUser,
              "Three %d", 3);
        data->limits.error.warn("Four %-3u%%", 4);
        constexpr char kFormat[] = "Five";
        limit->warn(kFormat, x);
        not_g_warning("Six");
    '''
    texts = [argument for call, skipped in CALLS.items()
             for argument in first_arguments(source, call, skipped)]
    assert [joined(text) or text for text in texts] == [
        "One %s: two", "Three %d", "Four %-3u%%", "kFormat"]
    assert as_on_the_page("Four %-3u%% of %zu") == "Four …… of …"
