"""The goals, and whether a comparison has met them. Nothing here is set by hand but the bounds."""
import dataclasses
import typing

from plan import BARE, EMPTY, FILES, OURS, PEERS, RATES


@dataclasses.dataclass
class Goal:
    """`value` is None when a part of it was not measured."""
    what: str
    value: typing.Optional[float]
    at_least: bool
    bound: float
    unit: str = "x"

    @property
    def met(self):
        if self.value is None:
            return None
        return self.value >= self.bound if self.at_least else self.value <= self.bound


def _ratio(one, other):
    if one is None or other is None or other == 0:
        return None
    return one / other


def _versus(summary, measure, label, quantity, other):
    return _ratio(summary.median(OURS, measure, label, quantity),
                  summary.median(other, measure, label, quantity))


def _versus_best_peer(summary, measure, label, quantity, best):
    values = [summary.median(peer, measure, label, quantity) for peer in PEERS]
    values = [value for value in values if value is not None]
    return _ratio(summary.median(OURS, measure, label, quantity), best(values) if values else None)


def _scaled(value, factor):
    return None if value is None else value * factor


def _speed(summary):
    rate, cpu = "linesPerSecond", "cpuNanosecondsPerLine"
    one = ("sustained", "1 threads")
    yield Goal("sustained lines/s, 1 thread, of the bare write loop's",
               _versus(summary, *one, rate, BARE), True, 1.6)
    yield Goal("sustained lines/s, 1 thread, of spdlog's",
               _versus(summary, *one, rate, "spdlog"), True, 4.5)
    for threads in (4, 16):
        yield Goal(f"sustained lines/s, {threads} threads, of the best peer's",
                   _versus_best_peer(summary, "sustained", f"{threads} threads", rate, max), True, 4.5)
    for threads, bound in ((1, 0.2), (4, 0.3)):
        yield Goal(f"CPU time per line, {threads} thread{'s' * (threads > 1)}, of spdlog's",
                   _versus(summary, "sustained", f"{threads} threads", cpu, "spdlog"), False, bound)
    yield Goal("CPU time per line, 1 thread, of the least of all peers",
               _versus_best_peer(summary, *one, cpu, min), False, 1)


def _latency(summary):
    for measure, label, quantile, bound in (
            ("bursts", "1 threads", "p50", 0.5), ("bursts", "4 threads", "p99", 0.08),
            ("steady", "sleeping", "p50", 0.25), ("steady", "sleeping", "p99", 0.35),
            ("steady", "busy", "p50", 0.2)):
        where = f"{measure}, {label.replace('1 threads', '1 thread')}"
        yield Goal(f"call latency {quantile}, {where}, of spdlog's",
                   _versus(summary, measure, label, f"call.{quantile}", "spdlog"), False, bound)
    for rate in RATES:
        late = summary.median(OURS, "lateness", f"{rate}/s", "lateness.p99")
        yield Goal(f"lateness p99 at {rate} lines/s", _scaled(late, 1e-6), False, 0.5, "ms")


def _rest(summary):
    yield Goal("idle for 10 s: system calls", summary.median(OURS, "idle", "10 s", "systemCalls"),
               False, 0, "")
    for label, bound in (("call", 3), ("macro", 1)):
        call = summary.median(OURS, "filtered", label, "nanosecondsPerCall")
        harness = summary.median(EMPTY, "filtered", label, "nanosecondsPerCall")
        net = None if call is None or harness is None else call - harness
        yield Goal(f"{label} below the threshold, less the harness's own cost", net, False, bound, "ns")
    yield Goal("peak memory with 500,000 lines queued, of spdlog's",
               _versus(summary, "memory", "500000 lines", "peakKiB", "spdlog"), False, 0.12)
    for quantity, what in (("passBelowLimits", "retention pass below its limits"),
                           ("passOverLimit", "retention pass that deletes the two oldest"),
                           ("rotation", "clean-up after a rotation")):
        for files in FILES:
            label = ("directories", f"{files} files")
            yield Goal(f"{what}, {files} files, of the bare loop's time",
                       _ratio(summary.median("directories", *label, f"{quantity}Microseconds"),
                              summary.median("directories", *label, "bareMicroseconds")), False, 2)
    for keys in (100, 1000):
        yield Goal(f"cost per line with {keys} keys, of that with 1",
                   _ratio(summary.median("keys", "keys", f"{keys} keys", "nanosecondsPerLine"),
                          summary.median("keys", "keys", "1 keys", "nanosecondsPerLine")),
                   False, 1.5)


def goals(summary):
    """All goals, with what was measured for each."""
    return [*_speed(summary), *_latency(summary), *_rest(summary)]
