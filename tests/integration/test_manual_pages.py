"""The manual pages: well formed, complete, and true."""

import pathlib
import re
import shlex
import subprocess
import xml.etree.ElementTree

import pytest

from gpio_support import fixture_boards
from lifecycle_support import complaints
from orvadctl_support import Program, fixture_program
from peers import IOBox, fixture_offer
from ports_support import Service

_ROOT = pathlib.Path(__file__).resolve().parents[2]
PAGES = sorted((_ROOT / "man").glob("*.[1-9]"))
NOWHERE = "unix:path=/nonexistent"


def read(path):
    return (_ROOT / path).read_text("utf-8")


def section(page, title):
    """The source below a heading of a page, up to the next one."""
    return re.search(rf"^\.Sh {title}\n(.*?)(?=^\.Sh |\Z)",
                     read(f"man/{page}"), re.M | re.S)[1]


def subsections(text):
    """Title -> source, of a section."""
    _, *parts = re.split(r"^\.Ss (.+)\n", text, flags=re.M)
    return dict(zip(parts[::2], parts[1::2]))


def items(text):
    """The heads of the lists."""
    return re.findall(r"^\.It (.+)$", text, re.M)


def names(text):
    """The words that each head names, without the value."""
    return [item.split(" Ns ")[0].split()[1:] for item in items(text)]


def examples(page):
    """The displays of a page that are more than one line."""
    return re.findall(r"^\.Bd -literal.*?\n(.*?)^\.Ed$", read(f"man/{page}"),
                      re.M | re.S)


def flags(text):
    """The options that macros name, as they are typed."""
    return {f"-{flag}" for flag in re.findall(r"\bFl (\S+)", text)}


@pytest.mark.parametrize("page", PAGES, ids=lambda page: page.name)
def test_page_is_well_formed(page):
    result = subprocess.run(
        ["mandoc", "-T", "lint", "-W", "warning", page],
        stdout=subprocess.PIPE, text=True, check=False)
    assert (result.stdout, result.returncode) == ("", 0)


@pytest.mark.parametrize("page", PAGES, ids=lambda page: page.name)
def test_page_has_its_name_and_refers_to_pages_that_are_there(page):
    text = page.read_text("utf-8")
    name, number = page.name.rsplit(".", 1)
    assert re.search(r"^\.Dt (.*)$", text, re.M)[1] == \
        f"{name.upper()} {number}"
    assert re.search(r"^\.Sh NAME\n\.Nm (.*)$", text, re.M)[1] == name
    ours = {f"{name}.{number}"
            for name, number in re.findall(r"^\.Xr (\S+) (\d)", text, re.M)
            if name.startswith(("orvad", "simboard"))}
    assert ours <= {page.name for page in PAGES}


def test_every_page_is_installed():
    assert re.findall(r"'([^']+)'", read("man/meson.build")) == \
        [page.name for page in PAGES]


# ---- the commands ----

def spelled_out(items_of_commands):
    """Command -> the words of its arguments, in lower case and in order, of
    all items that begin with it."""
    commands = {}
    for item in items_of_commands:
        text = re.sub(r"\bFl -", "--", item)
        _, command, *words = [
            word.lower() for word in text.split()
            if word == "Cm" or not re.fullmatch(r"[A-Z][a-z]", word)]
        commands.setdefault(command, []).extend(
            word for word in words
            if re.search(r"\w|--", word) and word not in ("cm", command))
    return commands


def arguments(synopsis):
    """The same of one synopsis of a help."""
    command, *words = re.findall(r"[\w-]+", synopsis.lower())
    return command, [word for word in words if word != command]


def without_options(item):
    return re.sub(r"Oo Fl -\S+(?: Ar \S+)? Oc ?", "", item)


@pytest.fixture(name="explain")
def fixture_explain(program):
    """explain(command): what orvadctl's help has: its synopsis and options."""
    def explain(command):
        text = program.run(NOWHERE, "help", command).stdout
        options = text.split("\nOptions:\n")[1]
        return (re.match(r"Usage: orvadctl (.*?) ?\[OPTION", text)[1],
                set(re.findall(r"(?:^| )(-\w|--[\w-]*)(?=[ ,])", options)))
    return explain


@pytest.fixture(name="commands")
def fixture_commands(program):
    """The names of orvadctl's commands, as its help lists them."""
    text = program.run(NOWHERE, "help").stdout
    return re.findall(r"^  (\w+)", text.split("Options:")[0], re.M)


def test_orvadctl_has_these_commands(commands, explain):
    described = items(section("orvadctl.1", "COMMANDS"))
    assert spelled_out(map(without_options, described)) == dict(
        arguments(explain(command)[0]) for command in commands)


def test_orvadctl_has_these_options(commands, explain):
    """Every option is explained, and named at each command of its own."""
    takes = {command: explain(command)[1] for command in commands}
    common = set.intersection(*takes.values())
    assert flags("\n".join(items(section("orvadctl.1", "OPTIONS")))) == \
        set.union(*takes.values())
    assert {item.split()[1]: flags(item)
            for item in items(section("orvadctl.1", "COMMANDS"))} == \
        {command: {option for option in options - common
                   if option.startswith("--")}
         for command, options in takes.items()}


def test_orvadctl_s_examples_are_right_command_lines(program):
    """There is no bus to do them on."""
    text = section("orvadctl.1", "EXAMPLES")
    lines = re.findall(r"^(?:\.Dl )?\$ orvadctl ([^|\n]+)", text, re.M)
    assert len(lines) == text.count("$ orvadctl")
    for line in lines:
        result = program.run(NOWHERE, *shlex.split(line))
        assert (result.returncode, result.stdout) == (1, ""), line
        assert "cannot reach the system bus" in result.stderr


@pytest.fixture(name="simboard")
def fixture_simboard(build):
    return Program(build / "tools/simboard/simboard")


def test_simboard_has_these_commands(simboard):
    text = simboard.run(NOWHERE, "--help").stdout
    described = [item.replace("Oo Fl", "Fl") for item in items(
        section("simboard.1", "COMMANDS"))]
    assert spelled_out(described) == dict(
        map(arguments, re.findall(r"^  (\w.*)$", text, re.M)))


def test_simboard_has_these_options():
    known = re.findall(r'^\t\t\{"(\w+)", (?:\'(\w)\'|0), 0, G_OPTION',
                       read("tools/simboard/main.cpp"), re.M)
    assert known
    assert flags("\n".join(items(section("simboard.1", "OPTIONS")))) == {
        option for name, letter in known
        for option in (f"--{name}", f"-{letter}") if option != "-"}


def test_board_file_has_these_keys():
    sources = (read("tools/simboard/board-file.cpp")
               + read("tools/simboard/iio-section.cpp"))
    known = {
        kind: re.findall(r'"(\w+)"', keys) for kind, keys in re.findall(
            r"^bool read_(\w+)_section\(.*?KEYS\[\] = \{(.*?)\};", sources,
            re.M | re.S)}
    assert len(known) == 7
    described = {
        title.strip("[]").split()[0].lower(): {name for name, in names(text)}
        for title, text in subsections(
            section("simboard.1", "BOARD FILE")).items()}
    assert described == {kind: set(keys) for kind, keys in known.items()}


def test_simboard_s_example_is_a_board(boards):
    file, commands = examples("simboard.1")
    board = boards(file)
    assert {line.name for line in board.state().values()} == {"bell", "siren"}
    for line in commands.splitlines():
        _, program, *words = shlex.split(line)
        if program == "simboard" and words[0] not in ("serve", "show"):
            board.ask(*words)
    assert board.loops()["gate"].state == "cut"


# ---- the port configuration ----

ELEMENTS = "src/main/conf-elements.cpp"
LINES = "supervised-lines"
PARSERS = {
    "Lines": ["libugpio-utils"],
    "Ranges": ["range-parser"],
    "gpio": ["libugpio-backend"],
    "sysfs": ["sysfs-backend"],
    "spi": ["spi-backend", LINES],
    "spiadc": ["spiadc-backend"],
    "iio": ["iio-backend", LINES],
    "iio-interrupt": ["iio-int-config", LINES],
    "iobox": ["iobox-backend"],
    "virtual": ["virtual-backend"],
    "null": ["null-backend"],
    "check": ["check-backend"],
}
"""Subsection -> the modules that know what it describes."""


def properties():
    """The properties that the daemon asks ports for."""
    return {name for path in (_ROOT / "src").rglob("*.cpp")
            for name in re.findall(r'io_port_get_property\([^"();]+(?:\(\))?, '
                                   r'"(\w+)"\)', path.read_text("utf-8"))}


def known_elements():
    """Element -> attributes, as the daemon knows them."""
    text = read(ELEMENTS)
    known = {}
    for name, function in re.findall(r'^\t\{"(\w+)", (apply_\w+)\},$', text,
                                     re.M):
        body = re.search(rf"^void {function}\(.*?^}}", text, re.M | re.S)[0]
        known[name] = set(re.findall(r'attribute [!=]= "([\w-]+)"', body))
    known["port"] |= set(re.findall(r'first_is\("(\w+)"\)',
                                    read("src/main/conf-reader.cpp")))
    known["properties"] |= properties()
    return known


def test_ports_page_has_every_element():
    described = {
        title: {name for name, in names(text)}
        for title, text in subsections(
            section("orvad-ports.5", "ELEMENTS")).items()}
    assert described == known_elements()


def test_ports_page_has_every_backend():
    known = re.findall(r'^\t\t\{"([\w-]+)", BACKEND_', read(ELEMENTS), re.M)
    described = subsections(section("orvad-ports.5", "BACKENDS"))
    assert set(described) == set(PARSERS)
    assert set(PARSERS) - {"Lines", "Ranges"} == set(known)


@pytest.mark.parametrize("title", PARSERS)
def test_ports_page_has_what_a_backend_knows(title):
    text = "".join(read(f"src/backends/{name}.cpp") for name in PARSERS[title])
    elements = set(re.findall(r'strcmp\((?:group|element), "(\w+)"\)', text))
    attributes = set(re.findall(
        r'(?:strcmp\(key, |\b(?:key|attribute) == |'
        r'^\t\{(?="\w+",\s+&IioIntPortData))"(\w+)"', text, re.M))
    described = names(subsections(
        section("orvad-ports.5", "BACKENDS"))[title])
    if not elements:
        assert {words[-1] for words in described} == attributes
        return
    assert {element for element, *_ in described} == elements
    assert {attribute for _, *rest in described for attribute in rest} == \
        attributes


def port_names(text):
    root = xml.etree.ElementTree.fromstring(f"<ports>{text}</ports>")
    return [port.get("name") for port in root.iter("port")]


EXAMPLES = {port_names(text)[0]: text for text in examples("orvad-ports.5")
            if port_names(text)}


BOARD_OF_EXAMPLES = read("data/sample/board.conf") + """
[Line porch]
Number=15
Wiring=door contact
Exported=porch

[IIO shaft]
Name=adc2
Buffer=false
Thresholds=both
Attributes=in_voltage_sampling_frequency;events/in_voltage_thresh_either_period

[Channel shaft/2]
Extension=loop

[IIO visitor]
Name=near
Buffer=false
Thresholds=one
Attributes=in_proximity_integration_time

[Channel visitor/3]
Name=proximity
"""


@pytest.fixture(name="serve_example")
def fixture_serve_example(boards, make_sandbox, connect, offer):
    """serve_example(XML, **sandbox options): a daemon with those ports, which
    has all that they need."""
    def serve(text, **options):
        board = boards(BOARD_OF_EXAMPLES)
        box = make_sandbox(config=f"<ports>{text}</ports>", binds=board.binds,
                           launcher=board.launcher, **options)
        for path in re.findall(r'path="/run/([^"]+)"', text):
            (box.run / path).parent.mkdir(parents=True)
            (box.run / path).write_text("0\n")
        box.start_bus()
        if "iobox" in text:
            number, = re.findall(r'port_no nbr="(\d+)"', text)
            offer(box, IOBox, {int(number): "closed"})
        return Service(box, connect)
    return serve


def test_there_is_an_example_of_each_type_and_backend():
    text = "".join(EXAMPLES.values())
    known = read(ELEMENTS)
    assert set(re.findall(r'<port_type type="(\w+)"', text)) == set(
        re.findall(r'type == "(\w+)"', known))
    assert set(re.findall(r'<backend name="([\w-]+)"', text)) == set(
        re.findall(r'^\t\t\{"([\w-]+)", BACKEND_', known, re.M))


def attributes_in(text):
    """(element, attribute) of all start tags; (element, None), too."""
    return {(element, attribute)
            for element, rest in re.findall(
                r'<(\w+)((?:\s+[\w-]+="[^"]*")*)', text)
            for attribute in (None, *re.findall(r'([\w-]+)=', rest))}


def all_examples():
    """Those of the page, in displays and in lines."""
    page = read("man/orvad-ports.5")
    return "".join(examples("orvad-ports.5")
                   + re.findall(r"^\.Dl (<.*)$", page, re.M))


def backends_in(text, name):
    """What stands in the backends of a name."""
    return "".join(re.findall(
        rf'<backend name="{name}"[^>]*?(?:/>|>.*?</backend>)', text, re.S))


def test_there_is_an_example_of_each_element_and_attribute():
    shown = attributes_in(all_examples())
    assert {(element, attribute)
            for element, attributes in known_elements().items()
            for attribute in (None, *attributes)} <= shown


@pytest.mark.parametrize("title", PARSERS)
def test_there_is_an_example_of_what_a_backend_knows(title):
    text = all_examples()
    described = names(subsections(
        section("orvad-ports.5", "BACKENDS"))[title])
    if title in ("Lines", "Ranges"):
        elements = ("range",) if title == "Ranges" else (
            "input", "output", "io_ctrl", "sio_ctrl")
        shown = {attribute for element, attribute in attributes_in(text)
                 if element in elements}
        assert {attribute for attribute, in described} <= shown
        return
    shown = attributes_in(backends_in(text, title))
    assert {tuple(words) for words in described if len(words) > 1} <= shown
    assert {element for element, *_ in described} <= {
        element for element, _ in attributes_in(text)}


def test_an_attribute_without_an_example_is_noticed():
    text = '<a b="1" c-d="x">\n<backend name="spi"><e f="<"/></backend><g/>'
    assert attributes_in(text) == {
        ("a", None), ("a", "b"), ("a", "c-d"), ("backend", None),
        ("backend", "name"), ("e", None), ("e", "f"), ("g", None)}
    assert attributes_in(backends_in(text, "spi")) == {
        ("backend", None), ("backend", "name"), ("e", None), ("e", "f")}


@pytest.mark.parametrize("name", EXAMPLES)
def test_example_of_a_port_is_accepted(serve_example, name):
    service = serve_example(EXAMPLES[name])
    service.settle()
    fails = 'setup="fail"' in EXAMPLES[name]
    assert service.names() == ([] if fails else [name])
    assert complaints(service.daemon) == []


# ---- the settings ----

def test_settings_page_has_every_key():
    known = re.findall(r'^\t\{"(\w+)",\s+for_',
                       read("src/params/param-settings.cpp"), re.M)
    assert known
    assert [name for name, in names(section("orvad.conf.5", "KEYS"))] == known


def test_example_of_settings_is_kept(serve_example):
    text, = examples("orvad.conf.5")
    service = serve_example(EXAMPLES["gate"] + EXAMPLES["siren"],
                            orvad_conf=text)
    service.call("SetName", 1, False, "Horn")
    service.settle()
    assert complaints(service.daemon) == []
    assert service.parameter_file.read_text("utf-8") == text.replace(
        "output_name=Siren", "output_name=Horn")


# ---- the messages ----

def sources():
    """All sources, with each literal in one piece."""
    text = "".join(path.read_text("utf-8")
                   for path in sorted((_ROOT / "src").rglob("*.cpp")))
    return re.sub(r'"\s+"', "", text).replace(r'\"', '"')


@pytest.mark.parametrize("page", ["orvad.8", "orvad-ports.5"])
def test_messages_are_those_of_the_daemon(page):
    text = sources()
    messages = [item.strip('"').replace('""', '"')
                for item in items(section(page, "DIAGNOSTICS"))]
    assert messages
    for message in messages:
        asserted = re.fullmatch(r"assertion failed: \((.*)\)", message)
        if message == "code should not be reached":
            assert "MODULE_ASSERT_NOT_REACHED" in text
        elif asserted:
            assert f", {asserted[1]});" in text
        else:
            assert f'"{message}' in text
