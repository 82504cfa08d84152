"""Campaigns whose programs, and the library, are built with sanitizers.

Every process writes what a sanitizer has found to a file of its own in one
folder. A file there is a failure of the row whose processes were running,
whatever status they ended with: some are killed, some end by _exit.
"""

import os
import pathlib
import re

FOUND_STATUS = 86  # none of the drivers' own
TEXT_SHOWN = 6000  # of a report

# Names a campaign that cannot run, and why; by sanitizer.
LEFT_OUT = {
    "peers": "the other libraries are not built with sanitizers",
}

# Leaks are looked for at the end of each process that comes to one: not after
# _exit or a signal. A child of fork turns the look off itself, see Children.cpp.
OPTIONS = {
    "address": {
        "ASAN_OPTIONS": "detect_stack_use_after_return=1:strict_init_order=1:check_initialization_order=1"
                        ":detect_leaks=1:allocator_may_return_null=1",
    },
    "undefined": {"UBSAN_OPTIONS": "print_stacktrace=1"},
    # Threads of the parent are not there in a child. At the end of a process, the
    # others have a moment for a race with it; the usual second is too long for
    # thousands of processes.
    "thread": {"TSAN_OPTIONS": "die_after_fork=0:atexit_sleep_ms=100:second_deadlock_stack=1"},
}


class Sanitizers:
    """Which ones the programs are built with, and what they have found."""

    def __init__(self, names, scratch):
        self.names = [name for name in names.split(",") if name]
        self.folder = pathlib.Path(scratch) / "sanitizer-reports"
        self.folder.mkdir()
        self.folder.chmod(0o1777)  # some processes are another user's
        self.count = 0

    def __bool__(self):
        return bool(self.names)

    def has(self, name):
        return name in self.names

    def environment(self):
        settings = {}
        for name in self.names:
            for variable, options in OPTIONS[name].items():
                settings[variable] = (f"{options}:halt_on_error=1:exitcode={FOUND_STATUS}"
                                      f":log_path={self.folder}/report")
        return settings

    def take_reports(self):
        """The texts of the reports since the last call."""
        texts = []
        for path in sorted(self.folder.iterdir()):
            texts.append(path.read_text(errors="replace"))
            os.unlink(path)
        self.count += len(texts)
        return texts


def headline_of(report):
    """The line that says what was found."""
    found = re.search(r"^.*(?:ERROR|WARNING|SUMMARY|runtime error):.*$", report, re.M)
    return (found.group(0) if found else report.strip().split("\n")[0]).strip()
