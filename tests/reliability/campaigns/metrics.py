"""The same as in syscalls, with the metrics channel: one file, no header, a
directory that the start makes, and records of one line and of some 90."""

from campaigns.syscalls import Sweep

VARIANTS = {  # and whether the service account exists
    "plain": True,
    "elsewhere": True,
    "fresh": True,
    "closed": True,
    "process-rotate": False,
    "rotate-keep": False,
    "rotate-closed": False,
    "short-rotate": False,
}


def rows(stage):
    sweep = Sweep(stage, "metrics_syscall_driver", VARIANTS, sample=1)
    yield sweep.row("a system call of the metrics channel fails")
