"""The repository's scripts, from end to end."""

import contextlib
import os
import pathlib
import signal
import subprocess
import xml.etree.ElementTree

import pytest

from waiting import wait_until

ROOT = pathlib.Path(__file__).resolve().parents[2]
FILES = ROOT / "build/board"

# They build and use build/plain, whatever is tested.
pytestmark = [pytest.mark.build("plain"),
              pytest.mark.xdist_group("demonstration")]


class Demonstration:
    """scripts/run, in the background, without a terminal."""

    def __init__(self, folder, *arguments):
        self._log = folder / "output"
        with open(self._log, "wb") as log:
            self.process = subprocess.Popen(
                [ROOT / "scripts/run", *arguments], stdout=log,
                stderr=subprocess.STDOUT, stdin=subprocess.DEVNULL,
                start_new_session=True)

    def output(self):
        return self._log.read_text()

    def wait_for(self, text, timeout=300):
        wait_until(lambda: text in self.output() or
                   self.process.poll() is not None, repr(text), timeout)
        assert text in self.output(), self.output()


def tool(name, *arguments):
    return subprocess.run([ROOT / "scripts" / name, *arguments], check=True,
                          stdout=subprocess.PIPE, text=True).stdout


@pytest.fixture(name="demonstrate")
def fixture_demonstrate(tmp_path):
    started = []

    def start(*arguments):
        started.append(Demonstration(tmp_path, *arguments))
        return started[-1]
    yield start
    for demonstration in started:
        # The whole group: it may still be at building.
        with contextlib.suppress(ProcessLookupError):
            os.killpg(demonstration.process.pid, signal.SIGTERM)
        demonstration.process.wait()


def test_run_shows_changes_as_they_come_until_interrupted(demonstrate):
    demonstration = demonstrate()
    demonstration.wait_for("Ctrl-C ends it.")
    event = "event tns1:Device/tnsvexa:IO/tnsvexa:Port port=1 state=true"

    def rung():
        """What is shown begins a moment after the words."""
        tool("simboard", "press", "button", "10")
        return "(button): active" in demonstration.output() and \
            event in demonstration.output()
    wait_until(rung, "the button to be shown")
    demonstration.wait_for("(button): inactive")
    tool("simboard", "open", "door")
    demonstration.wait_for("(door): active")
    (FILES / "pir_detector").write_text("1\n")
    demonstration.wait_for("(pir_detector): inactive")
    tool("orvadctl", "pulse", "siren", "1")
    demonstration.wait_for("(siren): active")
    demonstration.wait_for("(siren): inactive")
    siren = [line.split()[4:6]
             for line in tool("simboard", "history").splitlines()
             if " siren level " in line]
    assert siren == [["level", "high"], ["level", "low"]]

    for number, loop in {7: "gate", 8: "garage", 9: "cellar"}.items():
        tool("orvadctl", "supervise", loop, "on")
        tool("simboard", "loop", loop, "cut")
        demonstration.wait_for(
            f'SupervisedPort port={number} state="cut" tampered=true')

    demonstration.process.send_signal(signal.SIGINT)
    assert demonstration.process.wait(60) == 0
    assert demonstration.output().endswith(
        "The daemon ended with exit status 0\n")
    assert not (ROOT / "build/run.env").exists()


def test_run_ends_by_itself_when_told_for_how_long(demonstrate):
    demonstration = demonstrate("--for", "0")
    assert demonstration.process.wait(300) == 0
    assert "pir_detector" in demonstration.output()
    assert demonstration.output().endswith(
        "The daemon ended with exit status 0\n")


def test_a_second_run_says_that_there_is_one(demonstrate):
    demonstrate().wait_for("Ctrl-C ends it.")
    second = subprocess.run([ROOT / "scripts/run"], stdin=subprocess.DEVNULL,
                            capture_output=True, text=True, check=False)
    assert second.returncode == 1
    assert second.stderr == "run: the demonstration runs already\n"


def shown(picture):
    """The texts of a recording, without the blanks between words."""
    root = xml.etree.ElementTree.parse(picture).getroot()
    assert root.tag == "{http://www.w3.org/2000/svg}svg"
    return {" ".join((element.text or "").split()) for element in root.iter(
        "{http://www.w3.org/2000/svg}text")}


WHAT_A_PICTURE_SHOWS = {"orvadctl watch --for 9", "orvadctl readout gate",
                        "port 7 (gate): supervised", "cut"}


def test_picture_of_the_readme_shows_orvad_at_work():
    assert "](docs/picture.svg)" in (ROOT / "README.md").read_text("utf-8")
    assert shown(ROOT / "docs/picture.svg") >= WHAT_A_PICTURE_SHOWS


def test_picture_can_be_made_again(tmp_path):
    subprocess.run([ROOT / "scripts/picture", "--quick",
                    tmp_path / "picture.svg"], check=True,
                   stdin=subprocess.DEVNULL)
    assert shown(tmp_path / "picture.svg") >= WHAT_A_PICTURE_SHOWS


@pytest.mark.parametrize("name", ["orvadctl", "simboard"])
def test_tool_says_when_no_demonstration_runs(name):
    assert not (ROOT / "build/run.env").exists()
    client = subprocess.run([ROOT / "scripts" / name, "list"],
                            capture_output=True, text=True, check=False)
    assert client.returncode == 1
    assert client.stderr == \
        f"{name}: no demonstration runs; start one: scripts/run\n"


@pytest.mark.parametrize("arguments", [["--for"], ["--for", "x"], ["help"]])
def test_run_refuses_a_wrong_command_line(arguments):
    run = subprocess.run([ROOT / "scripts/run", *arguments],
                         capture_output=True, text=True, check=False)
    assert run.returncode == 2
    assert run.stderr.startswith("Usage: scripts/run")


@pytest.mark.parametrize("name", ["package", "picture", "run", "test"])
def test_help_of_a_script_is_what_its_head_says(name):
    script = ROOT / "scripts" / name
    head = script.read_text("utf-8").split("\nset -e")[0].splitlines()[1:]
    asked = subprocess.run([script, "--help"], capture_output=True, text=True,
                           check=False)
    assert (asked.returncode, asked.stderr) == (0, "")
    assert asked.stdout.splitlines() == [
        line.removeprefix("#").removeprefix(" ") for line in head]
    assert f"\nUsage: scripts/{name} [" in asked.stdout


@pytest.mark.parametrize("name, arguments", [
    ("picture", ["--slow"]), ("picture", ["a", "b"]), ("test", ["gcc"]),
    ("test", ["plain", "--help"])])
def test_script_refuses_a_wrong_command_line(name, arguments):
    asked = subprocess.run([ROOT / "scripts" / name, *arguments],
                           capture_output=True, text=True, check=False)
    assert (asked.returncode, asked.stdout) == (2, "")
    assert asked.stderr.startswith(f"Usage: scripts/{name} [")


RESULTS = {
    "good": '<testcase name="a"/><testcase name="b"/>',
    "failing": '<testcase name="a"/><testcase name="b"><failure/></testcase>',
    "erring": '<testcase name="a"><error/></testcase>',
    "skipping": '<testcase name="a"><skipped/></testcase>',
    "empty": "",
}


@pytest.mark.parametrize("steps, line", [
    ([("good", 0), ("good", 0)], "4 passed, 0 failed"),
    ([("good", 0), ("failing", 1)], "3 passed, 1 failed"),
    ([("erring", 1)], "0 passed, 1 failed"),
    ([("skipping", 0)], "0 passed, 1 failed"),
    ([("good", 0), ("empty", 0)], "2 passed, 1 failed"),
    ([("good", 0), ("missing", 0)], "2 passed, 1 failed"),
    ([("good", 1)], "2 passed, 1 failed"),
    ([("-", 0), ("good", 0)], "2 passed, 0 failed"),
    ([("-", 1)], "0 passed, 1 failed"),
    ([("-", 0)], "0 passed, 1 failed"),
    ([], "0 passed, 1 failed"),
])
def test_results_count_everything_that_did_not_pass(tmp_path, steps, line):
    for name, cases in RESULTS.items():
        (tmp_path / name).write_text(
            f"<testsuites><testsuite>{cases}</testsuite></testsuites>")
    arguments = []
    for name, status in steps:
        path = name if name == "-" else os.fspath(tmp_path / name)
        arguments += [name, str(status), path]
    counted = subprocess.run([ROOT / "scripts/count-results.py", *arguments],
                             stdout=subprocess.PIPE, text=True, check=False)
    assert counted.stdout.splitlines()[-1] == line
    assert counted.returncode == (0 if line.endswith(" 0 failed") else 1)
