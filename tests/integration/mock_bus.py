"""A private bus, and services on it that answer what a test wants."""

import contextlib
import pathlib
import re
import subprocess
import threading

from gi.repository import Gio, GLib

from bus_client import STATE, STATE_PATH
from waiting import DEADLINE, wait_until

_ROOT = pathlib.Path(__file__).resolve().parents[2]
STATE_XML = (_ROOT / "src/dbus/com.vexa.IOControl.State.xml").read_text()
SUPERVISED = "com.vexa.IOSupervised.Supervised"
SUPERVISED_PATH = "/com/vexa/IOSupervised/Supervised"
SUPERVISED_XML = (
    _ROOT / "src/dbus/com.vexa.IOSupervised.Supervised.xml").read_text()
EVENTS_PATH = "/org/orvad/Events1"
PRODUCER_XML = """<node><interface name="org.orvad.Events1.Producer">
  <method name="ListDeclarations">
    <arg name="declarations" type="a(ua{sv})" direction="out"/>
  </method>
</interface></node>"""


def retyped(xml, method):
    """xml with that method answering a number and nothing else: "(d)"."""
    head, tail = xml.split(f'<method name="{method}">', 1)
    body, rest = tail.split("</method>", 1)
    body = re.sub('<arg [^>]*direction="out"/>', "", body)
    return (f'{head}<method name="{method}">{body}'
            '<arg name="odd" type="d" direction="out"/></method>' + rest)


_BUS_CONFIG = """<!DOCTYPE busconfig PUBLIC
  "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
  "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>system</type>
  <listen>unix:path={folder}/bus</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow user="*"/>
    <allow own="*"/>
    <allow send_destination="*"/>
    <allow send_type="signal"/>
    <allow receive_type="*"/>
    {policy}
  </policy>
</busconfig>
"""


class PrivateBus:
    """A dbus-daemon of its own, below folder."""

    def __init__(self, folder, policy=""):
        config = folder / "bus.conf"
        config.write_text(_BUS_CONFIG.format(folder=folder, policy=policy))
        self._process = subprocess.Popen(
            ["dbus-daemon", f"--config-file={config}", "--nofork",
             "--nopidfile", "--print-address=1"],
            stdout=subprocess.PIPE, text=True)
        self.address = self._process.stdout.readline().strip()

    def stop(self):
        if self._process.returncode is None:
            self._process.kill()
            self._process.wait()
            self._process.stdout.close()


class Answer:
    """What the mock answers: values of the method's type, or an error, its
    D-Bus name and its text. before(mock) is called before it is sent.

    types: those of the values when the method's are to be ignored; GDBus would
    not send such an answer to GetAll.
    """

    def __init__(self, *values, error=None, before=None, types=None):
        self.values = values
        self.error = error
        self.before = before
        self.types = types


class Mock:
    """A service on the bus. answers: method -> Answer, or a function of the
    call's arguments that returns one; None: no answer ever."""

    def __init__(self, address, name, objects):
        """objects: path -> (interface XML, answers)."""
        self.name = name
        self.calls = []
        self.answered = []
        self._context = GLib.MainContext.new()
        self._loop = GLib.MainLoop.new(self._context, False)
        self._connection = Gio.DBusConnection.new_for_address_sync(
            address, Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT
            | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION, None, None)
        self._connection.set_exit_on_close(False)
        self._unanswered = []
        ready = threading.Event()
        self._thread = threading.Thread(
            target=self._serve, args=(objects, ready), daemon=True)
        self._thread.start()
        assert ready.wait(DEADLINE)
        self.appear()

    def _serve(self, objects, ready):
        self._context.push_thread_default()
        for path, (xml, answers) in objects.items():
            interface = Gio.DBusNodeInfo.new_for_xml(xml).interfaces[0]
            self._connection.register_object(
                path, interface, self._handler(interface, answers), None, None)
        ready.set()
        self._loop.run()
        self._context.pop_thread_default()

    def _handler(self, interface, answers):
        def handle(_connection, _sender, _path, _interface, method, args,
                   invocation):
            self.calls.append((method, args.unpack()))
            answer = answers[method]
            if callable(answer):
                answer = answer(*args.unpack())
            if answer is None:
                self._unanswered.append(invocation)
            elif answer.error:
                invocation.return_dbus_error(*answer.error)
            else:
                if answer.before:
                    answer.before(self)
                if answer.types is not None:
                    self._reply(invocation, answer)
                    return
                types = "".join(arg.signature for arg
                                in interface.lookup_method(method).out_args)
                invocation.return_value(
                    GLib.Variant(f"({types})", answer.values))
            self.answered.append(method)
        return handle

    def _reply(self, invocation, answer):
        self._unanswered.append(invocation)  # as far as GDBus knows
        reply = Gio.DBusMessage.new_method_reply(invocation.get_message())
        reply.set_body(GLib.Variant(f"({answer.types})", answer.values))
        self._connection.send_message(reply, Gio.DBusSendMessageFlags.NONE)

    def _ask_bus(self, method, types, *args):
        self._connection.call_sync(
            "org.freedesktop.DBus", "/org/freedesktop/DBus",
            "org.freedesktop.DBus", method, GLib.Variant(types, args), None,
            Gio.DBusCallFlags.NONE, -1, None)

    def appear(self):
        """Takes the name."""
        self._ask_bus("RequestName", "(su)", self.name, 0)

    def vanish(self):
        """Gives the name up."""
        self._ask_bus("ReleaseName", "(s)", self.name)

    def emit(self, path, interface, signal_name, types, *args):
        self._connection.emit_signal(None, path, interface, signal_name,
                                     GLib.Variant(types, args))
        self._connection.flush_sync(None)

    def port_changed(self, number, active):
        self.emit(STATE_PATH, STATE, "PortChanged", "(ibbbbbb)", number, False,
                  False, True, False, active, True)

    def sequence_done(self, number):
        self.emit(STATE_PATH, STATE, "ActionSequenceDone", "(i)", number)

    def count(self, method):
        return [name for name, _ in self.calls].count(method)

    def wait_for_calls(self, method, count=1):
        wait_until(lambda: self.count(method) >= count,
                   f"{count} calls of {method}; got {self.calls}")

    def wait_for_answer(self, method):
        wait_until(lambda: method in self.answered, f"an answer to {method}")

    def arguments(self, method):
        """Those of the calls of method."""
        return [args for name, args in self.calls if name == method]

    def disconnect(self):
        """Leaves the bus, as a service that ends."""
        if not self._connection.is_closed():
            self._connection.close_sync(None)

    def stop(self):
        self._loop.quit()
        self._thread.join()
        with contextlib.suppress(GLib.Error):
            self.disconnect()
