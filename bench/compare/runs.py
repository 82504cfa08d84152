"""Runs one program and takes down what it measured."""
import json
import pathlib
import shutil
import subprocess
import sys

SECONDS_UNTIL_HUNG = 120


class Broken(Exception):
    """A run that crashed, hung, or printed nonsense."""


def _execute(command):
    try:
        done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
                              timeout=SECONDS_UNTIL_HUNG, check=False)
    except subprocess.TimeoutExpired as hung:
        raise Broken(f"hung: {' '.join(command)}") from hung
    except OSError as missing:
        raise Broken(str(missing)) from missing
    if done.returncode != 0:
        last = done.stderr.strip().splitlines()[-1:] or ["no message"]
        raise Broken(f"exit code {done.returncode}: {' '.join(command)}: {last[0]}")
    return done.stdout


def _calls_while_idle(trace):
    """System calls that threads other than the sleeping main one began between the marks."""
    begun, main_thread = None, None
    for line in pathlib.Path(trace).read_text(errors="replace").splitlines():
        thread, _, call = line.partition(" ")
        if "idle begins" in call and "resumed>" not in call:
            begun, main_thread = 0, thread
        elif "idle ends" in call:
            return begun
        elif begun is not None and thread != main_thread and "resumed>" not in call:
            begun += 1
    raise Broken("the trace of the idle process has no end mark")


def _run_idle(command, work):
    trace = work / "trace"
    output = _execute(["strace", "-f", "-q", "-o", str(trace), *command])
    result = json.loads(output)
    result["systemCalls"] = _calls_while_idle(trace)
    return result


def _run_steps(program):
    output = _execute([program, "--benchmark_format=json", "--benchmark_repetitions=5",
                       "--benchmark_min_time=0.2"])
    entries = json.loads(output)["benchmarks"]
    return {entry["run_name"]: entry["cpu_time"] for entry in entries
            if entry.get("aggregate_name") == "median"}


def run(case, program, programs, work):
    """Returns the result of one run as a dictionary."""
    shutil.rmtree(work, ignore_errors=True)
    work.mkdir(parents=True)
    binary = str(programs / f"bench_{program}")
    command = [binary, case.measure, "--dir", str(work / "logs"), *case.arguments]
    try:
        if case.measure == "idle":
            return _run_idle(command, work)
        if case.measure == "steps":
            return _run_steps(binary)
        return json.loads(_execute(command))
    except ValueError as nonsense:
        raise Broken(f"no result: {' '.join(command)}: {nonsense}") from nonsense
    finally:
        shutil.rmtree(work, ignore_errors=True)


def lost_lines(result):
    """Lines that were logged and are in no file."""
    if "countedLines" not in result:
        return 0
    return result["expectedLines"] - result["countedLines"]


def run_case(case, programs, work):
    """One round of a case: yields (program, result, None) or (program, None, problem)."""
    for program in case.programs:
        try:
            result = run(case, program, programs, work)
            problem = None
            if lost_lines(result) != 0:
                problem = f"{program}: {case.measure}, {case.label}: {lost_lines(result)} lines lost"
        except Broken as broken:
            result, problem = None, f"{program}: {case.measure}, {case.label}: {broken}"
        if problem:
            print(f"bench: {problem}", file=sys.stderr)
        yield program, result, problem
