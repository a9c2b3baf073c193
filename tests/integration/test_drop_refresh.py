"""Optional ports: dropped, and brought into service again."""

import pytest

import sanitizers
from lifecycle_support import WITHOUT_LEGACY
from ports_support import (HOUR, NO_PORT, changed, event, expect_error,
                           fixture_serve, pipeline, port, sysfs_port)
from waiting import wait_until

MEBIBYTE = 1024 * 1024
ACTION_THREAD = "Action thread"
EVENTS = [event("IOPort"), event("PortAny"),
          event("com.vexa.Event.Qel.ManualTrigger")]


def optional(name, number, kind="output", **options):
    return port(name, kind, number, optional=True,
                names={"input": name, "output": name}, **options)


def file_port(name, number, **options):
    """An optional input that follows the file of its name below /sys."""
    return sysfs_port(name, number, f"/sys/{name}", optional=True,
                      names={"input": name}, **options)


def write(service, name, text):
    (service.box.sys / name).write_text(text)


def files(**contents):
    """For serve(): the files below /sys."""
    def prepare(box):
        for name, text in contents.items():
            (box.sys / name).write_text(text)
    return prepare


def open_files(service):
    return sorted(path.removeprefix("/sys/")
                  for path in service.descriptors()
                  if path.startswith("/sys/"))


# ---- dropping ----

@pytest.fixture(name="service")
def fixture_service(serve):
    return serve(optional("a", 0), port("fixed", "input", 1),
                 optional("b", 2, "input"), optional("c", 3, "io_ctrl"))


@pytest.mark.parametrize("names, dropped", [
    (["a"], ["a"]),
    (["c", "a", "b"], ["c", "a", "b"]),
    (["fixed", "b", "unknown", "a", ""], ["b", "a"]),
    (["b", "b", "a", "b"], ["b", "a"]),
    (["fixed"], []), (["A", "a ", "unknown"], []), ([], []),
], ids=["one", "order", "mixed", "repeated", "not optional", "unknown",
        "none"])
def test_optional_ports_are_dropped_in_the_order_asked(service, names,
                                                       dropped):
    left = [name for name in ("c", "b", "fixed", "a") if name not in dropped]
    assert service.call("DropIOPorts", names) == dropped
    assert service.names() == left
    # A second time nothing is left to drop.
    assert service.call("DropIOPorts", names) == []
    assert service.names() == left


@pytest.mark.parametrize("optional_text", ["TRUE", "1", "yes", "false"])
def test_only_true_makes_a_port_optional(serve, optional_text):
    service = serve(optional("a", 0).replace('optional="true"',
                                             f'optional="{optional_text}"'))
    assert service.call("DropIOPorts", ["a"]) == []
    assert service.names() == ["a"]


def test_dropped_port_is_out_of_service(service):
    before = service.call("GetNbrPorts")
    service.call("DropIOPorts", ["a"])
    for method, args in [("GetState", ()), ("SetState", (True,)),
                         ("SetVirtual", (True,)), ("GetNames", ()),
                         ("SetName", (False, "x"))]:
        with expect_error(NO_PORT):
            service.call(method, 0, *args)
    with expect_error(NO_PORT):
        service.start_sequence(0, (True, 0))
    assert before == (3, 1)
    assert service.call("GetNbrPorts") == (3, 0)


def test_port_of_the_same_number_takes_over_from_a_dropped_one(serve):
    service = serve(optional("first", 0), optional("second", 0))
    assert service.call("GetNames", 0) == ("", "first")
    service.call("DropIOPorts", ["first"])
    assert service.call("GetNames", 0) == ("", "second")
    # Being the newest now, the first one does not take the number back.
    service.call("RefreshIOPorts")
    assert service.call("GetNames", 0) == ("", "second")


def test_virtual_port_can_be_dropped(serve):
    service = serve(optional("virt", 0, backend="virtual",
                             properties={"virtual": "true"}))
    service.call("SetVirtual", 0, True)
    assert service.call("DropIOPorts", ["virt"]) == ["virt"]
    service.call("RefreshIOPorts")
    service.call("SetVirtual", 0, True)
    assert service.ports()[0].state is True


def test_drop_ends_a_running_sequence(service):
    recorder = service.record()
    service.start_sequence(0, (True, HOUR))
    service.start_sequence(2, (True, HOUR), virtual=True)
    recorder.wait_for_count(2)
    assert service.call("DropIOPorts", ["a", "b"]) == ["a", "b"]
    service.settle()
    assert [(signal.member, signal.args)
            for signal in recorder.signals[2:]] == [
        ("ActionSequenceDone", (0,)), ("ActionSequenceDone", (2,))]


# ---- refreshing ----

def test_refreshed_ports_are_the_newest(service):
    service.call("DropIOPorts", ["a"])
    service.call("RefreshIOPorts")
    assert service.names() == ["a", "c", "b", "fixed"]
    # Parked a after b: b was parked last, comes first and is older than a.
    service.call("DropIOPorts", ["a", "b"])
    service.call("RefreshIOPorts")
    assert service.names() == ["a", "b", "c", "fixed"]


def test_refresh_without_parked_ports_changes_nothing(service):
    before = service.ports()
    assert service.call("RefreshIOPorts") is None
    assert service.ports() == before


def test_settings_outlive_a_drop(service):
    service.call("SetName", 3, True, "Door")
    service.call("SetUsage", 3, "Front")
    service.call("SetActive", 3, True, "open")
    service.call("SetActive", 3, False, "open")
    service.call("SetDirection", 3, "output")
    service.call("DropIOPorts", ["c"])
    service.call("RefreshIOPorts")
    assert service.call("GetNames", 3) == ("Door", "c")
    assert service.call("GetUsage", 3) == "Front"
    assert service.call("GetActive", 3) == ("open", "open")
    assert service.call("GetDirection", 3) == "output"


def test_refreshed_output_works(service):
    service.call("SetState", 0, True)
    service.call("DropIOPorts", ["a"])
    service.call("RefreshIOPorts")
    recorder = service.record()
    for state in (False, True, False):
        service.call("SetState", 0, state)
        assert service.call("GetState", 0) is state
    service.settle()
    assert recorder.args[-2:] == [changed(0, True), changed(0, False)]


def test_port_that_cannot_be_set_up_stays_out(serve):
    service = serve(optional("broken", 0, items={"setup": "fail"}),
                    optional("fine", 1))
    assert service.names() == ["fine"]
    for _ in range(3):
        service.call("RefreshIOPorts")
        assert service.names() == ["fine"]
    service.call("DropIOPorts", ["fine"])
    service.call("RefreshIOPorts")
    assert service.names() == ["fine"]
    assert "WARNING" not in service.log()


def test_setting_up_again_uses_the_items_of_the_configuration(serve):
    service = serve(optional("a", 0, items={"setup": "FAIL", "fail": "setup"}))
    for _ in range(3):
        assert service.call("DropIOPorts", ["a"]) == ["a"]
        service.call("RefreshIOPorts")
        assert service.names() == ["a"]


# ---- ports whose hardware comes and goes ----

def test_missing_file_parks_an_optional_port_silently(serve):
    service = serve(file_port("late", 0), optional("other", 1))
    assert service.names() == ["other"]
    assert "late" not in service.log()
    service.call("RefreshIOPorts")
    assert service.names() == ["other"]
    write(service, "late", "1")
    service.call("RefreshIOPorts")
    assert service.names() == ["late", "other"]


def test_file_that_appears_is_watched_after_a_refresh(serve):
    service = serve(file_port("late", 0))
    write(service, "late", "0")
    recorder = service.record()
    service.call("RefreshIOPorts")
    write(service, "late", "1")
    recorder.wait_for_count(1)
    assert recorder.args == [changed(0, True, is_input=True)]


def test_refresh_sets_up_what_it_can(serve):
    service = serve(*[file_port(name, number)
                      for number, name in enumerate("abcd")])
    for name in "bd":
        write(service, name, "0")
    service.call("RefreshIOPorts")
    # Parked last in the walk over d, c, b, a was a.
    assert service.names() == ["d", "b"]
    write(service, "a", "0")
    service.call("RefreshIOPorts")
    assert service.names() == ["a", "d", "b"]
    assert open_files(service) == ["a", "b", "d"]


def test_drop_lets_go_of_the_file(serve):
    service = serve(file_port("a", 0), file_port("b", 1),
                    prepare=files(a="0", b="0"))
    assert open_files(service) == ["a", "b"]
    service.call("DropIOPorts", ["a"])
    assert open_files(service) == ["b"]
    service.call("RefreshIOPorts")
    assert open_files(service) == ["a", "b"]


def test_dropped_file_is_not_watched(serve):
    service = serve(file_port("gone", 0), file_port("kept", 1),
                    prepare=files(gone="0", kept="0"))
    recorder = service.record()
    service.call("DropIOPorts", ["gone"])
    for level in (1, 0, 1, 0):
        write(service, "gone", f"{1 - level}")
        write(service, "kept", f"{level}")
        count = len(recorder.signals) + 1
        recorder.wait_for_count(count)
    assert {args[0] for args in recorder.args} == {1}


def test_file_is_opened_anew_by_its_name(serve):
    service = serve(file_port("a", 0), prepare=files(a="0"))
    service.call("DropIOPorts", ["a"])
    (service.box.sys / "a").unlink()
    service.call("RefreshIOPorts")
    assert service.names() == []
    write(service, "a", "1")
    recorder = service.record()
    service.call("RefreshIOPorts")
    recorder.wait_for_count(1)
    assert service.call("GetState", 0) is True


def test_file_of_others_parks_the_port(serve):
    service = serve(file_port("a", 0), prepare=files(a="0"))
    service.call("DropIOPorts", ["a"])
    (service.box.sys / "a").chmod(0o600)
    service.call("RefreshIOPorts")
    assert service.names() == []


def test_re_synchronising_leaves_one_watch_of_each_file(serve):
    service = serve(file_port("a", 0), optional("b", 1),
                    prepare=files(a="0"))
    for _ in range(20):
        service.call("DropIOPorts", ["b"])
        service.call("RefreshIOPorts")
    recorder = service.record()
    for level in (1, 0, 1, 0):
        write(service, "a", f"{level}")
        recorder.wait_for_count(len(recorder.signals) + 1)
    assert recorder.args == [changed(0, bool(level), is_input=True)
                             for level in (1, 0, 1, 0)]


# ---- events ----

def test_declarations_are_left_alone(serve):
    service = serve(optional("a", 0, events=EVENTS),
                    file_port("b", 1, events=EVENTS), prepare=files(b="0"))
    before = service.declarations()
    recorder = service.record_events()
    service.call("DropIOPorts", ["a", "b"])
    assert service.declarations() == before
    service.call("RefreshIOPorts")
    assert service.declarations() == before
    service.settle_events()
    assert recorder.signals == []


def test_state_of_a_dropped_port_is_what_was_last_sent(serve):
    service = serve(optional("a", 0, events=[event("IOPort")]))
    number, _ = service.declaration_of(0)
    topics = {"topic0": "Device", "topic1": "IO", "topic2": "Port"}
    service.call("SetState", 0, True)
    service.call("DropIOPorts", ["a"])
    assert service.state_of(number) == {"port": 0, "state": True, **topics}


def test_parked_port_s_events_are_declared_when_it_comes(serve):
    service = serve(file_port("late", 0, events=[event("IOPort")]),
                    optional("other", 1, events=[event("IOPort")]))
    assert list(service.declarations()) == [1]
    write(service, "late", "0")
    service.call("RefreshIOPorts")
    assert [description["keys"]["port"]
            for description in service.declarations().values()] == [1, 0]


def test_any_port_s_state_counts_ports_in_service_only(serve):
    service = serve(optional("a", 0, events=[event("PortAny")]),
                    optional("b", 1, events=[event("PortAny")]))
    number, _ = service.declaration_of(-1)
    service.call("SetState", 0, True)
    assert service.state_of(number)["state"] is True
    service.call("DropIOPorts", ["a"])
    assert service.state_of(number)["state"] is False


# ---- for a long time ----

def rounds(service, names, count):
    for _ in range(count):
        assert service.call("DropIOPorts", names) == names
        service.call("RefreshIOPorts")


def test_1000_rounds_leave_nothing_behind(serve, build):
    service = serve(
        optional("check", 0, items={"one": "1", "two": "2"}, events=EVENTS),
        optional("virtual", 1, backend="virtual", events=EVENTS),
        optional("null", 2, "io_ctrl", backend="null", events=EVENTS),
        file_port("file", 3, events=EVENTS), prepare=files(file="0"),
        argv=WITHOUT_LEGACY)
    names = ["check", "virtual", "null", "file"]
    rounds(service, names, 50)
    service.settle_events()
    files_before = len(service.descriptors())
    declarations = service.declarations()
    memory = service.memory()
    rounds(service, names, 1000)
    assert service.declarations() == declarations
    assert len(service.descriptors()) == files_before
    assert ACTION_THREAD not in service.threads()
    # A sanitizer keeps what was freed for a while.
    slack = 64 if sanitizers.built_into(build / "src/orvad") else 1
    assert service.memory() - memory < slack * MEBIBYTE
    recorder = service.record()
    write(service, "file", "1")
    recorder.wait_for_count(1)


@pytest.mark.threaded
def test_rounds_with_sequences_leave_no_thread_behind(serve):
    service = serve(*[optional(f"p{number}", number, events=EVENTS)
                      for number in range(4)])
    names = [f"p{number}" for number in range(4)]
    recorder = service.client.record("ActionSequenceDone")
    for _ in range(25):
        assert pipeline(service.client, [
            *[("StartActionSequence", (number, number % 2 == 1,
                                       [(True, 0), (False, HOUR)]))
              for number in range(4)],
            ("DropIOPorts", (names,)),
            ("RefreshIOPorts", ()),
        ]) == [None] * 6
    service.settle()
    assert sorted(recorder.args) == sorted([(n,) for n in range(4)] * 25)
    wait_until(lambda: ACTION_THREAD not in service.threads(),
               "the threads to end")
