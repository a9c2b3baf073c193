"""Waiting for conditions, never for a time."""

import time

DEADLINE = 20.0
"""Seconds after which a condition is held to be never coming true. Only a
failing test takes that long."""


class TimedOut(AssertionError):
    """A condition did not come true before the deadline."""


def wait_until(condition, what, timeout=DEADLINE, interval=0.005):
    """Returns condition()'s first true value; TimedOut tells what never came.
    It is asked every interval seconds."""
    end = time.monotonic() + timeout
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > end:
            raise TimedOut(f"not within {timeout:g} s: {what}")
        time.sleep(interval)
