"""Port configurations, good and bad ones, as the daemon takes them."""

import os
import signal
import time

import pytest
from gi.repository import GLib

import sanitizers
from lifecycle_support import (
    CONFIGURATION, WITHOUT_LEGACY, complaints, config, get_usage, listed,
    listed_names, parameters, port, refusal, set_usage, settle, sysfs_port)
from sandbox import QEL_UID

LAMP = port("lamp", 0)
DOOR = port("door", 1, "input")
NO_PORT = ("No_port", "No such port.")
CANNOT_LOAD = f"CRITICAL Couldn't load XML ({CONFIGURATION})"
CANNOT_PARSE = f"CRITICAL Couldn't parse markup file ({CONFIGURATION})"
HIGH_NUMBER = ("You have a port with higher number than FIRST_VIRTUAL_PORT "
               "this might lead to unexpected behaviour")
START_BOUND = 10.0
"""Seconds within which a daemon with thousands of ports has to serve."""


def dropin(name):
    """A drop-in's path as the daemon writes it."""
    return f"/etc/orvad.d//{name}"


# ---- files that are not as they should be ----

def serves_with(box, connect, ports, printed, argv=()):
    """Starts the daemon and checks what it serves and what it complains of."""
    daemon = box.start(argv)
    assert listed_names(connect(box)) == ports
    daemon.stop()
    assert complaints(daemon) == printed


def test_missing_configuration_means_no_ports(make_sandbox, connect):
    serves_with(make_sandbox(), connect, [], [CANNOT_LOAD])


@pytest.mark.parametrize("make", [os.mkdir, os.mkfifo],
                         ids=["folder", "fifo"])
def test_configuration_of_another_kind_is_refused(make_sandbox, connect, make):
    box = make_sandbox()
    make(box.share / "conf.xml")
    serves_with(box, connect, [], [CANNOT_LOAD])


@pytest.mark.parametrize("text, ports, printed", [
    ("", [], []),
    ("  \n", [], []),
    ("no markup", [], [CANNOT_PARSE]),
    (b"<ports>\xff\xfe</ports>", [], [CANNOT_PARSE]),
    (b'<ports><port name="\xe5"/></ports>', [], [CANNOT_PARSE]),
    (f"<ports>{LAMP}<", ["lamp"], []),
    (f"<ports>{LAMP}<port name='half", ["lamp"], []),
    (f"<ports>{LAMP}{DOOR.removesuffix('</backend></port>')}",
     ["door", "lamp"], []),
    (f"<ports>{LAMP}</wrong>{DOOR}</ports>", ["lamp"], [CANNOT_PARSE]),
    (f"<ports>{LAMP}<&>{DOOR}</ports>", ["lamp"], [CANNOT_PARSE]),
    (f"<ports>{LAMP}</ports>{DOOR}", ["door", "lamp"], []),
], ids=["empty", "blank", "text", "bytes", "latin name", "stops in tag",
        "stops in value", "stops in backend", "wrong end tag", "bad markup",
        "two roots"])
def test_what_stands_before_a_fault_counts(make_sandbox, connect, text, ports,
                                           printed):
    serves_with(make_sandbox(config=text), connect, ports, printed)


def test_shipped_file_with_a_fault_does_not_keep_the_drop_ins_out(
        make_sandbox, connect):
    box = make_sandbox(config=f"{LAMP}</wrong>",
                       dropins={"more.xml": config(DOOR)})
    serves_with(box, connect, ["door", "lamp"], [CANNOT_PARSE])


# ---- drop-ins ----

def test_drop_in_replaces_a_port_by_its_name(make_sandbox, connect):
    box = make_sandbox(
        config=config(port("lamp", 0, more='<param_defaults usage="old"/>'),
                      DOOR),
        dropins={"lamp.xml": config(port("lamp", 5, "input"))})
    box.start()
    client = connect(box)
    assert listed(client) == [("lamp", 5), ("door", 1)]
    assert get_usage(client, 5) == ""
    assert client.call("GetDirection", "(u)", (5,)) == ("input",)
    assert refusal(client, "GetState", "(u)", (0,)) == NO_PORT


def test_name_behind_another_attribute_replaces_nothing(make_sandbox, connect):
    second = port("lamp", 5).replace(
        '<port name="lamp" optional="false">',
        '<port optional="false" name="lamp">')
    box = make_sandbox(config=config(LAMP), dropins={"lamp.xml": second})
    box.start()
    assert listed(connect(box)) == [("lamp", 5), ("lamp", 0)]


def test_elements_in_front_of_a_drop_in_s_ports_change_the_last_port(
        make_sandbox, connect):
    box = make_sandbox(
        config=config(LAMP, DOOR),
        dropins={"more.xml": '<ports><properties hidden="TRUE"/></ports>'})
    box.start()
    door, lamp = connect(box).call("GetPortProps")[1]
    assert ("hidden", True) in door[-1]
    assert ("hidden", True) not in lamp[-1]


def test_faulty_drop_in_keeps_those_behind_it_out(make_sandbox, connect):
    """They are read in the order of the folder's listing."""
    box = make_sandbox(config=config(), dropins={
        f"{n}.xml": config(port(f"port{n}.xml", n)) for n in range(5)})
    order = os.listdir(box.etc / "orvad.d")
    for name in order[2:4]:
        (box.etc / "orvad.d" / name).write_text("wrong")
    serves_with(
        box, connect, [f"port{order[1]}", f"port{order[0]}"],
        [f"CRITICAL Couldn't parse markup file ({dropin(order[2])})"])


def test_folder_among_the_drop_ins_ends_their_reading(make_sandbox, connect):
    box = make_sandbox(config=config(LAMP))
    (box.etc / "orvad.d/more").mkdir()
    serves_with(box, connect, ["lamp"],
                [f"CRITICAL Couldn't load XML ({dropin('more')})"])


@pytest.mark.parametrize("argv", [(), WITHOUT_LEGACY],
                         ids=["legacy", "without"])
def test_half_a_file_for_the_older_system_is_no_drop_in(make_sandbox, connect,
                                                        argv):
    """The folder is listed in an order of its own, so that some drop-ins are
    behind what a killed daemon has left."""
    names = [f"p{n}" for n in range(20)]
    files = {name: config(port(name, n)) for n, name in enumerate(names)}
    half = "<legacymapping><group"
    box = make_sandbox(config=config(), dropins={
        "legacy.tmp": half, "legacy.tmp.ABCDEF": half,
        "legacy.tmp.x9_zQ-": half, **files})
    (box.etc / "orvad.d/legacy.tmp.GHIJKL").symlink_to("/nowhere")
    serves_with(box, connect, listed_in_order(box, names), [], argv)
    assert {path.name: path.read_text("utf-8")
            for path in (box.etc / "orvad.d").iterdir()} == files


def listed_in_order(box, names):
    """The ports of the drop-ins of those names, the last one first."""
    return [name for name in reversed(os.listdir(box.etc / "orvad.d"))
            if name in names]


@pytest.mark.parametrize("name", [
    "legacy.tmp2", "legacy.tmp.", "legacy.tmp.ABCDE", "legacy.tmp.ABCDEFG",
    "legacy.tmp-ABCDEF", "a.legacy.tmp", "legacy.tm", "Legacy.tmp",
    "other.tmp.ABCDEF"])
def test_drop_in_that_is_merely_named_alike_is_one(make_sandbox, connect,
                                                   name):
    box = make_sandbox(config=config(), dropins={name: config(LAMP)})
    serves_with(box, connect, ["lamp"], [])
    assert (box.etc / "orvad.d" / name).read_text("utf-8") == config(LAMP)


def test_folder_in_the_place_of_the_file_for_the_older_system_is_named(
        make_sandbox, connect):
    box = make_sandbox(config=config(LAMP))
    folder = box.etc / "orvad.d/legacy.tmp"
    folder.mkdir()
    (folder / "file").touch()
    serves_with(box, connect, ["lamp"], [
        "WARNING Could not remove /etc/orvad.d/legacy.tmp: "
        "Directory not empty",
        f"CRITICAL Couldn't load XML ({dropin('legacy.tmp')})",
        "WARNING Couldn't write to service registry",
        "WARNING Couldn't write to legacy mappings"])


def test_masked_drop_in_is_empty(make_sandbox, connect):
    names = [f"p{n}" for n in range(20)]
    box = make_sandbox(dropins={name: config(port(name, n))
                                for n, name in enumerate(names)})
    for name in names[::4]:
        (box.etc / "orvad.d" / name).unlink()
        (box.etc / "orvad.d" / name).symlink_to("/dev/null")
    box.start()
    assert sorted(listed_names(connect(box))) == sorted(
        set(names) - set(names[::4]))


def test_missing_drop_in_folder_is_no_fault(make_sandbox, connect):
    box = make_sandbox(config=config(LAMP))
    (box.etc / "orvad.d").rmdir()
    serves_with(box, connect, ["lamp"], [], WITHOUT_LEGACY)


def test_missing_drop_in_folder_is_missed_by_the_older_system(make_sandbox,
                                                              connect):
    """Its files are written there before they are moved."""
    box = make_sandbox(config=config(LAMP))
    (box.etc / "orvad.d").rmdir()
    serves_with(box, connect, ["lamp"], [
        "WARNING Couldn't write to service registry",
        "WARNING Couldn't write to legacy mappings"])


# ---- many ports ----

def test_ten_thousand_ports_are_served_in_time(make_sandbox, connect, build):
    """Their numbers are above their count: none is saved at the start. With a
    sanitizer, whose time is its own, fewer have to do."""
    sanitized = sanitizers.built_into(build / "src/orvad")
    count, first = 2_000 if sanitized else 10_000, 1_000_000
    box = make_sandbox(config=config(
        *(port(f"p{n}", first + n, ("input", "output", "io_ctrl")[n % 3])
          for n in range(count))))
    begin = time.monotonic()
    daemon = box.start()
    assert time.monotonic() - begin < START_BOUND
    client = connect(box)
    number, entries = client.call("GetPortProps")
    assert number == count
    assert [entry[:2] for entry in entries] == [
        (f"p{n}", first + n) for n in reversed(range(count))]
    set_usage(client, first + count - 1, "last")
    assert get_usage(client, first + count - 1) == "last"
    outputs = len(range(1, count, 3))
    assert client.call("GetNbrPorts") == (count - outputs, outputs)
    daemon.stop()
    assert complaints(daemon) == []


def test_every_port_of_a_hundred_is_saved_at_the_start(make_sandbox):
    count = 100
    box = make_sandbox(config=config(
        *(port(f"p{n}", n, "input") for n in range(count))))
    begin = time.monotonic()
    box.start()
    assert time.monotonic() - begin < START_BOUND
    assert {name: group["input_name"]
            for name, group in parameters(box).items()} == {
        f"p{n}": f"Input {n + 1}" for n in range(count)}


@pytest.mark.parametrize("link", [False, True], ids=["file", "link"])
def test_drop_in_of_the_daemon_s_user_does_not_tell_root_what_to_open(
        make_sandbox, connect, link):
    box = make_sandbox(config=config(LAMP), dropins={"more.xml": config(DOOR)})
    planted = box.etc / "orvad.d/planted.xml"
    if link:
        (box.etc / "planted.xml").write_text(config(port("evil", 7)))
        planted.symlink_to("/etc/planted.xml")
    else:
        planted.write_text(config(port("evil", 7)))
    os.chown(planted, QEL_UID, -1, follow_symlinks=False)
    serves_with(box, connect, ["door", "lamp"], [
        f"WARNING Ignoring {dropin(planted.name)}, which belongs to qel"])


@pytest.mark.parametrize("first", ["5", "2147483647", "9" * 30, "-1", "x"])
def test_first_virtual_input_does_not_slow_the_start(make_sandbox, connect,
                                                     first):
    box = make_sandbox(config=config(
        LAMP, f'<first_virtual_input nbr="{first}"/>'))
    begin = time.monotonic()
    box.start()
    assert time.monotonic() - begin < START_BOUND
    assert listed_names(connect(box)) == ["manualtrigger1", "lamp"]


def test_first_virtual_input_before_any_port_is_ignored(make_sandbox, connect):
    box = make_sandbox(config=config('<first_virtual_input nbr="9"/>', LAMP))
    serves_with(box, connect, ["lamp"], [])


# ---- names ----

NAMES = {
    "long": "n" * 65536, "quotes": "a\"b'c", "ampersand": "a&<>b",
    "other script": "Tür 門 \U0001f6aa", "blanks": " two  words ",
    "equals": "a=b;c#d", "slash": "../a/b", "percent": "%s%n%d",
    "newline": "a\nb", "tab": "a\tb", "brackets": "a[b]c", "bracket": "]",
    "delete": "a\x7fb", "empty": "",
}
NOT_KEPT = ("newline", "tab", "brackets", "bracket", "delete", "empty")
KEPT = [kind for kind in NAMES if kind not in NOT_KEPT]


def save_and_restart(box, connect, number):
    """A setting made on a port whatever its name; what complaints come."""
    daemon = box.start()
    client = connect(box)
    set_usage(client, number, "porch")
    assert get_usage(client, number) == "porch"
    settle(client)
    daemon.stop()
    box.start()
    return complaints(daemon)


@pytest.mark.parametrize("kind", KEPT)
def test_settings_of_a_port_with_an_odd_name_are_kept(make_sandbox, connect,
                                                      kind):
    box = make_sandbox(config=config(port(NAMES[kind], 0)))
    assert save_and_restart(box, connect, 0) == []
    client = connect(box)
    assert listed(client) == [(NAMES[kind], 0)]
    assert get_usage(client, 0) == "porch"
    assert list(parameters(box)) == [NAMES[kind]]


@pytest.mark.parametrize("kind", NOT_KEPT)
def test_name_that_cannot_be_a_group_s_keeps_no_settings(make_sandbox, connect,
                                                         kind):
    box = make_sandbox(config=config(port(NAMES[kind], 0), DOOR))
    printed = save_and_restart(box, connect, 0)
    assert printed and set(printed) == {
        'WARNING The settings of port '
        f'"{GLib.strescape(NAMES[kind], None)}" are not kept: its name cannot '
        "be a group's in the parameter file"}
    client = connect(box)
    assert (NAMES[kind], 0) in listed(client)
    assert get_usage(client, 0) == ""
    assert list(parameters(box)) == ["door"]


def test_port_without_a_name_is_served_and_not_saved(make_sandbox, connect):
    nameless = LAMP.replace(' name="lamp"', "")
    box = make_sandbox(config=config(nameless, DOOR))
    save_and_restart(box, connect, 0)
    client = connect(box)
    assert ("", 0) in listed(client)
    assert get_usage(client, 0) == ""
    assert list(parameters(box)) == ["door"]


def test_default_name_s_first_value_counts(make_sandbox, connect):
    box = make_sandbox(config=config(port("door", 0, "input", more=(
        '<param_default_name input="Front"/><param_default_name input="Back"/>'
        ))))
    box.start()
    assert connect(box).call("GetNames", "(u)", (0,)) == ("Front", "")


# ---- numbers ----

@pytest.mark.parametrize("text, number", [
    ("-5", -5), ("0", 0), ("2147483647", 2**31 - 1), ("-2147483648", -2**31),
    ("2147483648", -2**31), ("4294967303", 7), ("12abc", 12), ("abc", 0),
    ("", 0),
])
def test_ports_are_served_whatever_their_number(make_sandbox, connect, text,
                                                number):
    box = make_sandbox(config=config(port("lamp", text)))
    daemon = box.start()
    client = connect(box)
    assert listed(client) == [("lamp", number)]
    set_usage(client, number % 2**32, "porch")
    assert get_usage(client, number % 2**32) == "porch"
    daemon.stop()
    assert complaints(daemon) == []
    assert parameters(box)["lamp"]["usage"] == "porch"


def test_port_without_a_number_has_number_minus_one(make_sandbox, connect):
    box = make_sandbox(config=config(LAMP.replace('<port_no nbr="0"/>', "")))
    box.start()
    assert listed(connect(box)) == [("lamp", -1)]


def test_first_of_two_ports_with_one_number_is_served(make_sandbox, connect):
    box = make_sandbox(config=config(
        port("first", 0, more='<param_defaults usage="1st"/>'),
        port("second", 0, more='<param_defaults usage="2nd"/>')))
    box.start()
    client = connect(box)
    assert listed(client) == [("second", 0), ("first", 0)]
    assert get_usage(client, 0) == "1st"
    set_usage(client, 0, "porch")
    settle(client)
    assert parameters(box)["first"]["usage"] == "porch"
    assert "second" not in parameters(box)


def test_second_of_two_ports_with_one_name_replaces_the_first(make_sandbox,
                                                              connect):
    box = make_sandbox(config=config(port("lamp", 0), port("lamp", 1)))
    box.start()
    assert listed(connect(box)) == [("lamp", 1)]


def test_two_ports_with_one_name_share_their_settings(make_sandbox, connect):
    twins = config(*(f"""<port optional="false" name="lamp">
<port_type type="output"/><port_no nbr="{n}"/><properties ioport="true"/>
<backend name="check"/></port>"""
                     for n in range(2)))
    box = make_sandbox(config=twins)
    box.start()
    client = connect(box)
    assert listed(client) == [("lamp", 1), ("lamp", 0)]
    set_usage(client, 1, "porch")
    settle(client)
    box.daemon.stop()
    assert parameters(box)["lamp"]["usage"] == "porch"
    box.start()
    assert [get_usage(connect(box), n) for n in range(2)] == ["porch"] * 2


def test_second_number_above_the_first_virtual_port_s_is_warned_of(
        make_sandbox, connect):
    box = make_sandbox(config=config(
        port("lamp", 7), port("door", 7, more='<port_no nbr="7"/>')))
    serves_with(box, connect, ["door", "lamp"], [f"WARNING {HIGH_NUMBER}"])


# ---- types, backends, set-up ----

@pytest.mark.parametrize("word", ["Input", "", "io-ctrl"])
def test_unknown_port_type_makes_an_input(make_sandbox, connect, word):
    box = make_sandbox(config=config(port("odd", 0, word)))
    daemon = box.start()
    assert connect(box).call("GetDirection", "(u)", (0,)) == ("input",)
    daemon.stop()
    assert complaints(daemon) == [
        f"CRITICAL Unsupported port type {word}"]


def test_port_whose_set_up_fails_is_left_out(make_sandbox, connect):
    box = make_sandbox(config=config(
        LAMP, port("bad", 1, "input", "check", items='setup="fail"'),
        port("last", 2)))
    daemon = box.start()
    client = connect(box)
    assert listed(client) == [("last", 2), ("lamp", 0)]
    assert refusal(client, "GetState", "(u)", (1,)) == NO_PORT
    daemon.stop()
    assert complaints(daemon) == [
        "USER Setup failed for port 1, removing from list"]


def test_optional_port_whose_set_up_fails_is_left_out_silently(
        make_sandbox, connect):
    box = make_sandbox(config=config(
        port("bad", 0, "input", "check", items='setup="fail"', optional=True),
        DOOR))
    daemon = box.start()
    client = connect(box)
    assert listed(client) == [("door", 1)]
    client.call("RefreshIOPorts")
    assert listed(client) == [("door", 1)]
    daemon.stop()
    assert complaints(daemon) == []


def test_dropped_ports_come_back_with_a_refresh(make_sandbox, connect):
    box = make_sandbox(config=config(
        port("one", 0, optional=True), port("two", 1),
        port("three", 2, optional=True)))
    box.start()
    client = connect(box)
    names = ["three", "two", "none", "one", "three"]
    assert client.call("DropIOPorts", "(as)", (names,)) == (["three", "one"],)
    assert listed_names(client) == ["two"]
    client.call("RefreshIOPorts")
    assert sorted(listed_names(client)) == ["one", "three", "two"]


@pytest.mark.parametrize("backend", [
    '<backend name="unknown"></backend>', "", "<backend/>",
    '<backend name="NULL"></backend>',
], ids=["unknown", "none", "no name", "upper case"])
def test_port_without_a_backend_ends_the_daemon(make_sandbox, backend):
    element = LAMP.replace('<backend name="null"></backend>', backend)
    assert element != LAMP
    box = make_sandbox(config=config(element))
    daemon = box.start_daemon()
    daemon.wait(expect=128 + signal.SIGABRT)
    assert "ERROR:ioport.c:" in daemon.stderr()
    assert "assertion failed: (port->functions != NULL)" in daemon.stderr()


def test_output_on_an_attribute_file_ends_the_daemon(make_sandbox):
    box = make_sandbox(config=config(
        port("lamp", 0, "output", "sysfs", items='path="/run/lamp"')))
    daemon = box.start_daemon()
    daemon.wait(expect=128 + signal.SIGABRT)
    assert ("assertion failed: (port->type == PORT_INPUT)"
            in daemon.stderr())


def test_items_in_front_of_the_backend_s_name_are_not_the_backend_s(
        make_sandbox, connect):
    box = make_sandbox(config=config(
        DOOR.replace('<backend name="null">',
                     '<backend setup="fail" name="check">')))
    serves_with(box, connect, ["door"], [])


def test_items_behind_the_backend_s_name_are_the_backend_s(make_sandbox,
                                                           connect):
    box = make_sandbox(config=config(
        DOOR.replace('<backend name="null">',
                     '<backend name="check" setup="fail">')))
    serves_with(box, connect, [], [
        "USER Setup failed for port 1, removing from list"])


def test_unknown_item_of_a_backend_is_warned_of(make_sandbox, connect):
    box = make_sandbox(config=config(
        sysfs_port("door", 0, "/run/door").replace(
            "</backend>", '<group key="1"/></backend>')))
    (box.run / "door").write_text("0")
    serves_with(box, connect, ["door"],
                ["WARNING Could not parse backend data!"])


def test_key_without_an_event_is_ignored(make_sandbox, connect):
    box = make_sandbox(config=config(
        port("door", 3, "input", more='<keyvalue key="a" value="b"/>')))
    serves_with(box, connect, ["door"],
                ["WARNING Ignoring a key without an event on port 3"])


@pytest.mark.parametrize("text, saved", [
    ("12ab", "12"), ("x12", "0"), ("", "0"), ("4294967295", "4294967295"),
])
def test_pulse_time_is_the_number_that_it_begins_with(make_sandbox, text,
                                                      saved):
    box = make_sandbox(config=config(
        port("lamp", 0, more=f'<param_defaults pulse_time="{text}"/>')))
    box.start()
    assert parameters(box)["lamp"]["pulse_time"] == saved
