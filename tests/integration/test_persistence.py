"""Settings outlive the daemon, whatever ends it."""

import os
import random
import signal

import pytest

from lifecycle_support import (
    PARAMETERS, complaints, config, file_system, get_usage, group_text,
    output_group, parameter_file, parameters, port, post_usage, refusal,
    remount, set_usage, settle)
from sandbox import SandboxError
from waiting import wait_until

LAMP = config(port("lamp", 0))
BOTH = config(port("both", 0, "io_ctrl"))
KILLS = 40
IN_A_ROW = 30
"""Changes that are asked for at once, so that one is being saved."""
FAILED_TO_STORE = f"Failed to store key file {PARAMETERS}: "
TEXTS = {
    "plain": "porch", "empty": "", "blanks": "  two  words ",
    "lines": "a\nb\r\tc", "backslash": "a\\nb\\", "quotes": "\"a'b;c=d#[e]",
    "other script": "Tür 門 \U0001f6aa", "long": "n" * 100_000,
}


@pytest.fixture(name="box")
def fixture_box(make_sandbox):
    """One output, "lamp", number 0, served."""
    box = make_sandbox(config=LAMP)
    box.start()
    return box


@pytest.fixture(name="client")
def fixture_client(box, connect):
    return connect(box)


def restart(box, connect):
    """A client of the daemon after a restart."""
    box.daemon.stop()
    box.start()
    return connect(box)


def folder(box):
    """What is in the parameter file's folder."""
    return set(os.listdir(parameter_file(box).parent))


# ---- what survives ----

def test_every_setting_survives_a_restart(make_sandbox, connect):
    box = make_sandbox(config=BOTH)
    box.start()
    client = connect(box)
    client.call("SetName", "(ubs)", (0, True, "Front door"))
    client.call("SetName", "(ubs)", (0, False, "Porch lamp"))
    client.call("SetUsage", "(us)", (0, "night watch"))
    client.call("SetDirection", "(us)", (0, "output"))
    client.call("SetActive", "(ubs)", (0, True, "open"))
    client.call("SetActive", "(ubs)", (0, False, "open"))
    settle(client)
    for _ in range(2):
        client = restart(box, connect)
        assert client.call("GetNames", "(u)", (0,)) == (
            "Front door", "Porch lamp")
        assert get_usage(client, 0) == "night watch"
        assert client.call("GetDirection", "(u)", (0,)) == ("output",)
        assert client.call("GetActive", "(u)", (0,)) == ("open", "open")


@pytest.mark.parametrize("before, after", [("open", "closed"),
                                           ("closed", "open")])
@pytest.mark.parametrize("is_input", [True, False], ids=["input", "output"])
def test_one_side_s_active_level_survives_alone(make_sandbox, connect,
                                                is_input, before, after):
    sides = {True: "input_activelow", False: "output_activelow"}
    both = {key: str(before == "open").lower() for key in sides.values()}
    box = make_sandbox(config=BOTH, orvad_conf=group_text("both", **{
        "input": "true", "input_name": "in", "output_name": "out",
        "button_type": "none", "pulse_time": 0, "port_mode": "bistable",
        "delay_time": 0, "usage": "", **both}))
    box.start()
    client = connect(box)
    client.call("SetActive", "(ubs)", (0, is_input, after))
    settle(client)
    expected = (after, before) if is_input else (before, after)
    assert restart(box, connect).call("GetActive", "(u)", (0,)) == expected


@pytest.mark.parametrize("kind", TEXTS)
def test_texts_survive_as_they_are(box, client, connect, kind):
    set_usage(client, 0, TEXTS[kind])
    client.call("SetName", "(ubs)", (0, False, TEXTS[kind]))
    settle(client)
    client = restart(box, connect)
    assert get_usage(client, 0) == TEXTS[kind]
    assert client.call("GetNames", "(u)", (0,)) == ("", TEXTS[kind])


def test_state_of_an_output_is_no_setting(box, client, connect):
    client.call("SetState", "(ub)", (0, True))
    settle(client)
    client = restart(box, connect)
    assert client.call("GetState", "(u)", (0,)) == (False,)


def test_port_numbered_above_the_count_is_saved_when_it_changes(
        make_sandbox, connect):
    box = make_sandbox(config=config(port("lamp", 7)))
    box.start()
    assert not parameter_file(box).exists()
    client = connect(box)
    set_usage(client, 7, "porch")
    settle(client)
    assert get_usage(restart(box, connect), 7) == "porch"


def test_comments_and_groups_of_others_are_kept(make_sandbox, connect):
    text = ("# Written by hand.\n[gone]\n# Of a port that was.\nusage=x\n"
            "other=1;2;3\n# The lamp's.\n" + output_group("lamp")
            + "# Of another version.\nown=7\n")
    box = make_sandbox(config=LAMP, orvad_conf=text)
    box.start()
    client = connect(box)
    for usage in ("garden", "porch"):
        set_usage(client, 0, usage)
    settle(client)
    # GLib puts an empty line in front of a group.
    lines = filter(None, parameter_file(box).read_text().splitlines())
    expected = text.replace("usage=\n", "usage=porch\n")
    assert list(lines) == expected.splitlines()


@pytest.mark.parametrize("change", [
    ("SetDirection", "(us)", (0, "input")),
    ("SetDirection", "(us)", (0, "Input")),
    ("SetActive", "(ubs)", (0, True, "open")),
    ("SetActive", "(ubs)", (0, True, "closed")),
    ("SetActive", "(ubs)", (0, False, "half")),
], ids=["fixed direction", "unknown direction", "no such side, open",
        "no such side, closed", "unknown level"])
def test_refused_changes_that_save_nevertheless(box, client, change):
    parameter_file(box).unlink()
    refusal(client, *change)
    settle(client)
    assert parameters(box)["lamp"]["output_name"] == "Output 1"


@pytest.mark.parametrize("change", [
    ("SetName", "(ubs)", (0, True, "Door")), ("SetUsage", "(us)", (9, "x")),
    ("SetVirtual", "(ub)", (9, True)), ("SetDirection", "(us)", (9, "input")),
], ids=["name", "usage", "virtual", "direction"])
def test_refused_changes_that_save_nothing(box, client, change):
    parameter_file(box).unlink()
    refusal(client, *change)
    settle(client)
    assert not parameter_file(box).exists()


# ---- saves that fail ----

def stored_nothing(daemon, reason):
    """The one complaint, about a file that could not be stored."""
    (line,) = complaints(daemon)
    assert line.startswith(FAILED_TO_STORE)
    assert line.endswith(f": {reason}")
    assert daemon.stderr() == line + "\n"


def fill(path):
    """Writes a file until there is no room left."""
    with open(path, "wb", buffering=0) as file:
        try:
            while True:
                file.write(bytes(4096))
        except OSError:
            return


def test_full_file_system_keeps_the_old_file_whole(make_sandbox, connect):
    box = make_sandbox(config=LAMP)
    with file_system(box.etc / "orvad", "64k"):
        daemon = box.start()
        client = connect(box)
        before = parameter_file(box).read_bytes()
        fill(box.etc / "orvad/filler")
        set_usage(client, 0, "porch")
        settle(client)
        assert get_usage(client, 0) == "porch"
        assert parameter_file(box).read_bytes() == before
        assert folder(box) == {"orvad.conf", "filler"}
        stored_nothing(daemon, "No space left on device")

        (box.etc / "orvad/filler").unlink()
        client.call("SetActive", "(ubs)", (0, False, "open"))
        settle(client)
        lamp = parameters(box)["lamp"]
        assert (lamp["usage"], lamp["output_activelow"]) == ("porch", "true")
        daemon.stop()


def test_read_only_file_system_keeps_settings_in_memory(make_sandbox, connect):
    box = make_sandbox(config=LAMP)
    with file_system(box.etc / "orvad"):
        daemon = box.start()
        client = connect(box)
        before = parameter_file(box).read_bytes()
        remount(box.etc / "orvad", "ro")
        set_usage(client, 0, "porch")
        settle(client)
        assert get_usage(client, 0) == "porch"
        assert parameter_file(box).read_bytes() == before
        stored_nothing(daemon, "Read-only file system")

        remount(box.etc / "orvad", "rw")
        client.call("SetState", "(ub)", (0, True))
        settle(client)
        assert parameters(box)["lamp"]["usage"] == "porch"
        daemon.stop()


def test_daemon_starts_on_a_read_only_file_system(make_sandbox, connect):
    box = make_sandbox(config=LAMP)
    with file_system(box.etc / "orvad"):
        parameter_file(box).write_text(output_group("lamp", usage="porch"))
        remount(box.etc / "orvad", "ro")
        daemon = box.start()
        assert get_usage(connect(box), 0) == "porch"
        daemon.stop()
    warning, store = complaints(daemon)
    assert warning.startswith(
        f"WARNING chown failed on file '{PARAMETERS}': (30) ")
    assert store.startswith(FAILED_TO_STORE)


def test_file_that_became_corrupt_is_left_alone(box, client):
    """GLib's warning is what the harness takes for a fault."""
    parameter_file(box).write_text("corrupt\n")
    set_usage(client, 0, "porch")
    settle(client)
    assert get_usage(client, 0) == "porch"
    assert parameter_file(box).read_text() == "corrupt\n"
    with pytest.raises(SandboxError, match=r"param_save_for_port: assertion "
                       r"'param_read_configuration \(file\)' failed"):
        box.daemon.stop()
    assert box.daemon.status == 0


def test_file_that_vanished_is_made_again(box, client):
    parameter_file(box).unlink()
    set_usage(client, 0, "porch")
    settle(client)
    assert parameters(box)["lamp"]["usage"] == "porch"


# ---- a daemon that is killed ----

def kill(box, when, what):
    """Kills the daemon as soon as when() holds."""
    wait_until(when, what)
    assert box.daemon.kill() == 128 + signal.SIGKILL


def test_file_is_whole_whenever_the_daemon_is_killed(make_sandbox, connect):
    box = make_sandbox(config=LAMP)
    box.start()
    whole = parameters(box)["lamp"].keys()
    chance = random.Random(KILLS)
    before = ""
    for turn in range(KILLS):
        client = connect(box)
        assert get_usage(client, 0) == before
        wanted = [f"{turn}.{n}" for n in range(IN_A_ROW)]
        files = folder(box)
        for text in wanted:
            post_usage(client, 0, text)
        # Where no file is seen while it is written, the last value's is the
        # end: it may all have happened between two looks.
        late = wanted[-1:] if turn % 2 else \
            wanted[chance.randrange(IN_A_ROW // 2):]
        kill(box, lambda known=files, values=late, early=turn % 2:
             (early and folder(box) - known)
             or parameters(box)["lamp"]["usage"] in values, "a save")
        lamp = parameters(box)["lamp"]
        assert lamp.keys() == whole
        assert lamp["usage"] in {before, *wanted}
        before = lamp["usage"]
        box.start()


def test_file_is_whole_whenever_the_daemon_is_killed_in_its_start(
        make_sandbox):
    """Each start is killed at another port's save."""
    ports = [f"lamp{n}" for n in range(20)]
    box = make_sandbox(config=config(
        *(port(name, number) for number, name in enumerate(ports))))
    box.start_bus()
    complete = None
    for count in range(1, len(ports), 3):
        parameter_file(box).unlink(missing_ok=True)
        box.start_daemon()
        kill(box, lambda wanted=count: parameter_file(box).exists()
             and len(parameters(box)) >= wanted, f"{count} saved ports")
        groups = parameters(box)
        assert list(groups) == ports[:len(groups)]
        complete = complete or groups["lamp0"].keys()
        assert all(group.keys() == complete for group in groups.values())
    box.start()
    assert list(parameters(box)) == ports
