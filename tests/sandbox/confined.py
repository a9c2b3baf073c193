"""One program running under bubblewrap."""

import json
import os
import pathlib
import select
import signal
import subprocess

from waiting import DEADLINE, TimedOut, wait_until


class SandboxError(AssertionError):
    """Something went wrong that fails the test, whatever it was testing."""


class Confined:
    """A program in a process namespace of its own, with its output in files.

    Nothing of it outlives this object's owner: bubblewrap ends with its
    parent, and with bubblewrap everything below it.
    """

    def __init__(self, bubblewrap, argv, stdout, stderr, launcher=()):
        """stdout and stderr may name the same file, to keep their order."""
        self.argv = list(argv)
        self.stdout_path = pathlib.Path(stdout)
        self.stderr_path = pathlib.Path(stderr)
        read_end, write_end = os.pipe()
        # Appending, or two streams to one file would overwrite each other.
        with open(read_end, encoding="utf-8") as info, \
                open(stdout, "ab") as out, open(stderr, "ab") as err:
            self._bubblewrap = subprocess.Popen(
                [*launcher, "bwrap", *bubblewrap, "--info-fd", str(write_end),
                 "--", *argv], stdin=subprocess.DEVNULL, stdout=out,
                stderr=err, pass_fds=[write_end], start_new_session=True)
            os.close(write_end)
            text = info.read()
        self._init = json.loads(text)["child-pid"] if text else None
        # Bubblewrap may end before the namespace's first process has.
        self._init_end = os.pidfd_open(self._init) if text else None
        self._pid = None

    @property
    def pid(self):
        """The program's process id, as seen from outside."""
        if self._pid is None:
            self._pid = wait_until(self._find_pid, f"{self.argv[0]} to start")
        return self._pid

    def _find_pid(self):
        """The child of the namespace's first process, once it has become the
        program."""
        if self.ended:
            raise SandboxError(f"{self.argv} has ended\n{self.output()}")
        try:
            proc = pathlib.Path(f"/proc/{self._init}")
            children = (proc / f"task/{self._init}/children").read_text()
            pid = int(children.split()[0])
            before = os.readlink(proc / "exe")
            return pid if os.readlink(f"/proc/{pid}/exe") != before else None
        except (OSError, IndexError):
            return None

    @property
    def ended(self):
        return self._bubblewrap.poll() is not None

    @property
    def status(self):
        """Exit status, 128 + number after a signal; none while it runs."""
        return self._bubblewrap.poll()

    def stdout(self):
        return self.stdout_path.read_text(errors="replace")

    def stderr(self):
        return self.stderr_path.read_text(errors="replace")

    def output(self):
        """Everything printed so far."""
        if self.stdout_path == self.stderr_path:
            return self.stdout()
        return self.stdout() + self.stderr()

    def wait_for_output(self, text, timeout=DEADLINE):
        """Waits until text has been printed."""
        def printed():
            ended = self.ended
            found = text in self.output()
            if ended and not found:
                raise SandboxError(f"{self.argv} ended without printing "
                                   f"{text!r}:\n{self.output()}")
            return found
        wait_until(printed, f"{text!r} to be printed", timeout)

    def send(self, number):
        """Sends a signal to the program."""
        os.kill(self.pid, number)

    def finish(self, timeout=DEADLINE):
        """Waits for the end; the exit status."""
        try:
            self._bubblewrap.wait(timeout)
        except subprocess.TimeoutExpired:
            raise TimedOut(
                f"{self.argv} still runs after {timeout:g} s") from None
        self._wait_for_namespace()
        return self.status

    def _wait_for_namespace(self):
        if self._init_end is not None:
            select.select([self._init_end], [], [])
            os.close(self._init_end)
            self._init_end = None

    def destroy(self):
        """Ends everything in the namespace, at once."""
        if not self.ended:
            if self._init_end is not None:
                signal.pidfd_send_signal(self._init_end, signal.SIGKILL)
            else:
                self._bubblewrap.kill()
        self._bubblewrap.wait()
        self._wait_for_namespace()
