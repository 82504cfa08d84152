"""Every system call that the library makes fails, with every error that its
manual page names, once and from then on until a later moment.

The driver works in lockstep with the worker, so it knows which line was at work
when a call failed, and judges each run itself: no damaged or doubled line, a
cut one only where a write fell short; lost is at most the line whose write
failed or whose file could not be opened; a file is emptied only after a rename
or a look at it failed (what it held is kept aside and accounted for); the first
line after the fault is written.
"""

import errno
import json
import random

from harness import Tally

VARIANTS = {  # of the log channel, and whether the service account exists
    "plain": True,
    "metrics": True,
    "closed": True,
    "rotate": False,
    "rotate-keep": False,
    "rotate-closed": False,
}
SHORT = -1
UNTIL_LATER = 10**12  # calls; the driver ends the fault
SOME = 20  # of an interruption, which the library sits out

PATH_ERRORS = "EACCES EIO ELOOP ENAMETOOLONG ENOENT ENOMEM ENOTDIR"
ERRORS = {
    "open": PATH_ERRORS + " EBUSY EDQUOT EEXIST EFBIG EINTR EINVAL EISDIR EMFILE ENFILE ENODEV"
            " ENOSPC ENXIO EOPNOTSUPP EOVERFLOW EPERM EROFS ETXTBSY EWOULDBLOCK",
    "write": "SHORT EAGAIN EBADF EDESTADDRREQ EDQUOT EFAULT EFBIG EINTR EINVAL EIO ENOSPC EPERM EPIPE",
    "close": "EBADF EDQUOT EINTR EIO ENOSPC",
    "rename": PATH_ERRORS + " EBUSY EDQUOT EINVAL EISDIR EMLINK ENOSPC ENOTEMPTY EPERM EROFS EXDEV",
    "renameat2": PATH_ERRORS + " EBADF EBUSY EDQUOT EEXIST EINVAL EISDIR EMLINK ENOSPC ENOSYS ENOTEMPTY"
                 " EPERM EROFS EXDEV",
    "mkdir": PATH_ERRORS + " EDQUOT EEXIST EINVAL EMLINK ENOSPC EPERM EROFS",
    "start_mkdir": PATH_ERRORS + " EDQUOT EEXIST EINVAL EMLINK ENOSPC EPERM EROFS",
    "opendir": "EACCES EBADF EMFILE ENFILE ENOENT ENOMEM ENOTDIR",
    "readdir": "EBADF ENOENT",
    "closedir": "EBADF",
    "stat": PATH_ERRORS + " EBADF EOVERFLOW",
    "lstat": PATH_ERRORS + " EBADF EOVERFLOW",
    "chmod": PATH_ERRORS + " EPERM EROFS",
    "lchown": PATH_ERRORS + " EPERM EROFS",
    "getpwnam_r": "EINTR EIO EMFILE ENFILE ENOENT ENOMEM EPERM ERANGE ESRCH",
    "remove": PATH_ERRORS + " EBUSY EINVAL EISDIR ENOTEMPTY EPERM EROFS",
    "unlink": PATH_ERRORS + " EBUSY EISDIR EPERM EROFS",
    "rmdir": PATH_ERRORS + " EBUSY EINVAL ENOTEMPTY EPERM EROFS",
    "realpath": PATH_ERRORS + " EINVAL",
    "readlink": PATH_ERRORS + " EINVAL",
    "epoll_create1": "EINVAL EMFILE ENFILE ENOMEM",
    "fcntl": "EAGAIN EBADF EINVAL EMFILE EPERM",
    "pthread_create": "EAGAIN EINVAL EPERM",
}


def number(name):
    return SHORT if name == "SHORT" else getattr(errno, name)


class Sweep:
    """All failures of all calls of one driver, in some variants."""

    def __init__(self, stage, driver, variants, sample=2):
        """`sample`: how many of each call, error and length make a quick run."""
        self.stage, self.driver, self.variants, self.sample = stage, driver, variants, sample

    def run_driver(self, variant, fault):
        stage = self.stage
        where = stage.fresh_dir()
        (where / "log").mkdir()
        (where / "kept").mkdir()
        env = {"ZIN_FAULT": fault, "ZIN_FAULT_KEEP": str(where / "kept")}
        if self.variants[variant]:
            env["ZIN_FAULT_ACCOUNT"] = "1"
        run = stage.run([stage.program(self.driver), where / "log", where / "kept", variant], env, limit=12)
        report = where / "log/report.txt"
        text = report.read_text() if report.exists() else ""
        stage.remove(where)
        return run, text

    def calls_of(self, variant):
        """Calls by name. Twice: the threads' order differs from run to run."""
        most = {}
        for _ in range(2):
            run, text = self.run_driver(variant, "")
            if run.ended_badly():
                raise RuntimeError(f"{variant} without a fault: {run.ended_badly()} {text}")
            for name, count in json.loads(text)["counts"].items():
                most[name] = max(most.get(name, 0), count)
        return most

    def all_cases(self):
        for variant in self.variants:
            # A call that only a fault brings about.
            calls = {"rename": 0, "lstat": 0, "fcntl": 0, **self.calls_of(variant)}
            for name, count in calls.items():
                # A start that is repeated adds a worker, and each removes files that
                # the other still writes; what these held cannot be told.
                if name == "pthread_create" and "keep" in variant:
                    continue
                if name not in ERRORS:
                    raise RuntimeError(f"no errors are listed for {name}")
                for k in range(1, count + 1):
                    for error in ERRORS[name].split():
                        for length in (1, SOME if error in ("EINTR", "SHORT") else UNTIL_LATER):
                            yield variant, name, k, error, length

    def cases(self):
        """Those of this run, and how many calls there are in all."""
        cases = list(self.all_cases())
        calls = len({case[:3] for case in cases})
        if self.stage.quick:
            # Some of each call, error and length; no call is crowded out by another.
            choice = random.Random(7)
            groups = {}
            for case in cases:
                groups.setdefault((case[1], case[3], case[4]), []).append(case)
            cases = [c for group in groups.values() for c in choice.sample(group, min(self.sample, len(group)))]
        return cases, calls

    def fail_once(self, case):
        """The problem, and how many faults the run met."""
        variant, name, k, error, length = case
        run, text = self.run_driver(variant, f"{name}:{k}:{number(error)}:{length}")
        what = f"{variant}: {name} #{k} {error} x{length}"
        problem = run.ended_badly()
        if problem:
            return f"{what}: {text.strip()[:200] or problem}", 0
        return None, json.loads(text)["injected"]

    def row(self, fault):
        cases, calls = self.cases()
        tally = Tally(fault, "the line whose write or open failed; a file's contents when it cannot be moved aside")
        injected = 0
        for problem, count in self.stage.each(self.fail_once, cases):
            tally.add(problem)
            injected += count > 0
        tally.expect(injected > 0.9 * tally.runs, f"only {injected} runs met a fault")
        tally.seen = f"no more; {injected:,} runs with a fault, {calls:,} calls"
        return tally.row("no crash, no hang, exact losses, goes on")


def rows(stage):
    yield Sweep(stage, "syscall_driver", VARIANTS).row("a system call fails, once and for a while")
