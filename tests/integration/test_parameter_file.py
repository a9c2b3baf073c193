"""Parameter files written by hand, and by other versions."""

import subprocess

import pytest

from lifecycle_support import (
    complaints, config, group_text, input_group, output_group, parameter_file,
    parameters, port)

LAMP = config(port("lamp", 0))
BOTH = config(port("both", 0, "io_ctrl"))


def started_with(make_sandbox, text, ports=LAMP):
    """A sandbox whose daemon has started with that file; the daemon."""
    box = make_sandbox(config=ports, orvad_conf=text)
    return box, box.start()


@pytest.mark.parametrize("key, text, saved", [
    ("delay_time", "18446744073709551615", "18446744073709551615"),
    ("delay_time", "18446744071562067968", "18446744071562067968"),
    ("delay_time", "2147483647", "2147483647"),
    ("delay_time", "4294967295", "18446744073709551615"),
    ("pulse_time", "4294967295", "4294967295"),
    ("pulse_time", "4294967297", "1"),
    ("button_type", "none", "none"), ("button_type", "pulse", "pulse"),
    ("button_type", "actinact", "actinact"),
    ("port_mode", "monostable", "monostable"),
    ("port_mode", "bistable", "bistable"),
    ("port_mode", "", "monostable"), ("port_mode", "Bistable", "monostable"),
    ("output_activelow", "true", "true"), ("output_activelow", "1", "true"),
    ("output_name", "", ""), ("usage", "a\\sb\\nc", "a b\nc"),
])
def test_setting_written_by_hand_is_taken_and_written_back(
        make_sandbox, key, text, saved):
    box, daemon = started_with(make_sandbox,
                               output_group("lamp", **{key: text}))
    assert parameters(box)["lamp"][key] == saved
    daemon.stop()
    assert complaints(daemon) == []


def test_file_with_settings_only_keeps_its_text(make_sandbox):
    text = group_text(
        "both", input="false", input_name="Door", input_activelow="true",
        output_name="Lamp", output_activelow="true", button_type="actinact",
        pulse_time=12, port_mode="monostable",
        delay_time=18446744073709551615, usage="all")
    box, _ = started_with(make_sandbox, text, BOTH)
    assert parameter_file(box).read_text().strip() == text.strip()


# From GLib's texts.
NO_KEY = "Error parsing param file: Key file does not have key “{}”"


def lamp_without(key):
    return "".join(line for line in output_group(
        "lamp", pulse_time=7, usage="porch").splitlines(keepends=True)
        if not line.startswith(key + "="))


@pytest.mark.parametrize("key, pulse_time, usage", [
    ("output_activelow", "0", ""), ("pulse_time", "0", ""),
    ("port_mode", "7", ""), ("delay_time", "7", ""),
])
def test_missing_key_ends_the_reading_of_its_group(make_sandbox, key,
                                                   pulse_time, usage):
    box, daemon = started_with(make_sandbox, lamp_without(key))
    lamp = parameters(box)["lamp"]
    assert (lamp["pulse_time"], lamp["usage"]) == (pulse_time, usage)
    assert lamp["output_name"] == "Lamp"
    assert key in lamp
    assert daemon.stderr().startswith(NO_KEY.format(key))


def test_text_that_is_too_long_ends_the_reading_of_its_group(make_sandbox):
    box = make_sandbox(config=LAMP, orvad_conf=output_group(
        "lamp", usage="n" * (1024 * 1024 + 1)))
    box.start()
    assert complaints(box.daemon) == [
        "Error parsing param file: The text of usage is too long"]
    assert parameters(box)["lamp"]["usage"] == ""


def test_missing_usage_is_no_fault(make_sandbox):
    box, daemon = started_with(make_sandbox, lamp_without("usage"))
    assert parameters(box)["lamp"]["pulse_time"] == "7"
    assert parameters(box)["lamp"]["usage"] == ""
    assert daemon.stderr() == ""


def test_missing_name_gives_the_default_name(make_sandbox):
    box, daemon = started_with(
        make_sandbox, input_group("door").replace("input_name=Door\n", ""),
        config(port("door", 0, "input",
                    more='<param_default_name input="Configured"/>')))
    assert parameters(box)["door"]["input_name"] == "Input 1"
    assert "No input name for port door:0\n" in daemon.stdout()
    assert daemon.stderr().startswith(NO_KEY.format("input_name"))


def test_missing_output_name_gives_the_default_name(make_sandbox):
    box, daemon = started_with(make_sandbox, lamp_without("output_name"))
    assert parameters(box)["lamp"]["output_name"] == "Output 1"
    assert "No output name for port lamp:0\n" in daemon.stdout()
    assert daemon.stderr().startswith(NO_KEY.format("output_name"))


@pytest.mark.parametrize("key, text", [
    ("output_activelow", "maybe"), ("pulse_time", "12x"),
    ("pulse_time", ""), ("delay_time", "1,5"), ("delay_time", "1.5"),
    ("usage", "\udcff"),
])
def test_malformed_setting_keeps_the_configured_one(make_sandbox, key, text):
    group = output_group("lamp", **{key: text})
    box, daemon = started_with(make_sandbox,
                               group.encode(errors="surrogateescape"))
    assert daemon.stderr().startswith("Error parsing param file: ")
    assert daemon.stderr().count("\n") == 1
    assert parameters(box)["lamp"] == {
        "output_name": "Lamp", "output_activelow": "false",
        "button_type": "none", "pulse_time": "0", "port_mode": "bistable",
        "delay_time": "0", "usage": ""}


def test_unknown_button_type_silently_ends_the_reading_of_its_group(
        make_sandbox):
    box, daemon = started_with(make_sandbox, output_group(
        "lamp", button_type="toggle", pulse_time=7, usage="porch"))
    lamp = parameters(box)["lamp"]
    assert (lamp["output_name"], lamp["button_type"]) == ("Lamp", "none")
    assert (lamp["pulse_time"], lamp["usage"]) == ("0", "")
    daemon.stop()
    assert complaints(daemon) == []


def test_missing_button_type_is_a_fault(make_sandbox):
    box, daemon = started_with(make_sandbox, lamp_without("button_type"))
    assert daemon.stderr().startswith(NO_KEY.format("button_type"))
    assert parameters(box)["lamp"]["pulse_time"] == "0"


def test_fault_in_one_group_leaves_the_others_alone(make_sandbox):
    box, _ = started_with(
        make_sandbox,
        group_text("lamp", output_name="Lamp")
        + input_group("door", usage="watch"),
        config(port("lamp", 0), port("door", 1, "input")))
    assert parameters(box)["door"]["usage"] == "watch"


COMMA_LOCALE = "\n".join(
    ["comment_char %", "LC_NUMERIC", 'decimal_point ","', 'thousands_sep "."',
     "grouping 3;3", "END LC_NUMERIC",
     *(f'LC_{category}\ncopy "POSIX"\nEND LC_{category}' for category in (
         "CTYPE", "COLLATE", "MONETARY", "TIME", "MESSAGES")), ""])


@pytest.fixture(name="comma_locale")
def fixture_comma_locale(tmp_path):
    """The sandbox options that make a locale with a decimal comma."""
    source = tmp_path / "comma.source"
    source.write_text(COMMA_LOCALE)
    compiled = tmp_path / "locales"
    compiled.mkdir()
    # Its status tells of warnings, too; what counts is shown below.
    subprocess.run(["localedef", "--force", "-i", str(source), "-f", "UTF-8",
                    str(compiled / "comma")], stderr=subprocess.DEVNULL,
                   check=False)
    point = subprocess.run(
        ["/usr/bin/python3", "-c", "import locale; locale.setlocale("
         "locale.LC_ALL, ''); print(locale.localeconv()['decimal_point'])"],
        env={"LC_ALL": "comma", "LOCPATH": str(compiled)}, check=True,
        capture_output=True, text=True).stdout
    assert point == ",\n"
    return {"binds": [(compiled, "/srv/locales")],
            "env": {"LANG": "comma", "LC_ALL": "comma",
                    "LOCPATH": "/srv/locales"}}


def test_numbers_do_not_depend_on_the_locale(make_sandbox, comma_locale):
    text = output_group("lamp", pulse_time=1234567, delay_time=7654321)
    box = make_sandbox(config=LAMP, orvad_conf=text, **comma_locale)
    daemon = box.start()
    daemon.stop()
    assert parameter_file(box).read_text().strip() == text.strip()
    assert complaints(daemon) == []
