"""Completion of orvadctl's command lines in bash."""

import pathlib
import subprocess

import pytest

from orvadctl_support import fixture_program
from ports_support import fixture_serve, port
from waiting import DEADLINE

FILE = (pathlib.Path(__file__).resolve().parents[2]
        / "tools/orvadctl/completion/orvadctl.bash")
# compopt works while a key is pressed only.
SCRIPT = """
source "$1"
complete -p orvadctl
compopt() { COMPREPLY+=("compopt $*"); }
COMP_WORDS=(orvadctl "${@:3}")
COMP_CWORD=$(($# - 2))
_orvadctl "$2" "${COMP_WORDS[COMP_CWORD]}"
printf '%s\\n' "${COMPREPLY[@]}"
"""
PORTS = [
    port("door", "input", 1), port("door two:b", "input", 2),
    port("lamp", "output", 7, optional=True), port("mast", "output"),
]


@pytest.fixture(name="complete")
def fixture_complete(build):
    """complete(address, words...): what bash is told of the last word."""
    def run(address, *words):
        result = subprocess.run(
            ["bash", "--noprofile", "--norc", "-c", SCRIPT, "bash", FILE,
             build / "tools/orvadctl/orvadctl", *words],
            env={"PATH": "/usr/bin:/bin", "LC_ALL": "C.UTF-8",
                 "DBUS_SYSTEM_BUS_ADDRESS": address},
            capture_output=True, text=True, timeout=DEADLINE, check=True)
        assert result.stderr == ""
        registered, *answers = result.stdout.splitlines()
        assert registered == "complete -F _orvadctl orvadctl"
        return [answer for answer in answers if answer]
    return run


def test_ports_of_the_running_daemon_are_offered(serve, complete):
    address = serve(*PORTS).box.bus_address
    assert sorted(complete(address, "get", "")) == [
        "1", "2", "7", "door", r"door\ two\:b", "lamp", "mast"]
    assert sorted(complete(address, "set", "--virtual", "d")) == [
        "door", r"door\ two\:b"]
    assert complete(address, "watch", "door", '"door t') == ["door two:b"]
    assert complete(address, "watch", "door", r"door\ ") == [r"door\ two\:b"]
    assert sorted(complete(address, "drop", "")) == [
        "door", r"door\ two\:b", "lamp", "mast"]
    assert complete(address, "set", "door", "") == ["on", "off"]


@pytest.mark.parametrize("words, offered", [
    (["pol"], ["polarity"]),
    (["help", "trig"], ["triggers"]),
    (["direction", "1", "i"], ["input"]),
    (["polarity", "1", "input", ""], ["open", "closed"]),
    (["ranges", "1", "c"], ["closed", "cut"]),
    (["connectors", ""], ["video", "audio"]),
    (["list", "--na"], ["--names"]),
    (["--js"], ["--json"]),
    (["set", "--timeout", "=", "1", "door", "of"], ["off"]),
    (["record", "f"], ["compopt -o default -o filenames"]),
    (["get", ""], []), (["get", "--", "-"], []), (["legacy", "set", ""], []),
    (["list", ""], []), (["pulse", "1", ""], []), (["frob", "", ""], []),
])
def test_words_are_offered_without_a_daemon(complete, tmp_path, words,
                                            offered):
    assert complete(f"unix:path={tmp_path}/none", *words) == offered


def test_complete_is_no_command_for_people(program, tmp_path):
    assert "complete" not in program.run(
        f"unix:path={tmp_path}/none", "help").stdout
