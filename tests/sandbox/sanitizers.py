"""Running programs that were built with a sanitizer, and finding its reports.

A process that gives up root is no longer dumpable and may not read its own
/proc/self/environ: a sanitizer that looks for its options only then finds none.
Such programs get a small library preloaded that keeps them dumpable,
dumpable.c; the programs themselves know nothing of it.
"""

import functools
import re
import subprocess

EXIT_STATUS = 99
"""Exit status of a program whose sanitizer had something to report."""

REPORTS = "/run/sanitizer"
"""Where reports are written, inside the sandbox."""

_RUNTIMES = {"address": "libasan.so", "thread": "libtsan.so",
             "undefined": "libubsan.so"}
_REPORT = re.compile(
    r"(ERROR|WARNING|FATAL): (Address|Leak|Thread)Sanitizer"
    r"|Sanitizer:DEADLYSIGNAL|: runtime error: |LeakSanitizer has encountered")


@functools.lru_cache(None)
def built_into(program):
    """The sanitizers that program was built with: kind -> path of its library.
    """
    listing = subprocess.run(["ldd", str(program)], stdout=subprocess.PIPE,
                             stderr=subprocess.DEVNULL, text=True,
                             check=False).stdout
    found = {kind: re.search(re.escape(library) + r"\S* => (\S+)", listing)
             for kind, library in _RUNTIMES.items()}
    return {kind: match[1] for kind, match in found.items() if match}


def environment(runtimes, shim):
    """What a program with those sanitizers needs in its environment.

    shim: the path of dumpable.so, inside the sandbox.
    """
    if not runtimes:
        return {}
    # The address sanitizer insists on being the first library of all.
    first = [runtimes["address"]] if "address" in runtimes else []
    common = f"exitcode={EXIT_STATUS}:log_path={REPORTS}/report"
    return {
        "LD_PRELOAD": ":".join([*first, shim]),
        "ASAN_OPTIONS": f"{common}:detect_leaks=1:check_initialization_order=1"
                        ":detect_stack_use_after_return=1",
        "UBSAN_OPTIONS": f"{common}:halt_on_error=1:print_stacktrace=1",
        # GLib is not built for it: only our own accesses are looked at.
        "TSAN_OPTIONS": f"{common}:halt_on_error=0:second_deadlock_stack=1"
                        ":ignore_noninstrumented_modules=1",
    }


def launcher(runtimes):
    """What to put before a command: these sanitizers of GCC 12 cannot cope with
    every randomised address space."""
    return ["setarch", "--addr-no-randomize"] if runtimes else []


def prepare(directory):
    """Makes the folder that any identity may write reports to."""
    directory.mkdir()
    directory.chmod(0o1777)


def collect(directory, outputs):
    """Takes every report out of directory; adds those found in the outputs."""
    reports = [text for text in outputs if _REPORT.search(text)]
    for path in sorted(directory.glob("report*")):
        reports.append(path.read_text(errors="replace"))
        path.unlink()
    return reports
