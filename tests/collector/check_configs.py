#!/usr/bin/env python3
"""Checks the configurations whose programs Debian does not have.

    check_configs.py CONFIGURATIONS

Their grammar, the names of their keys, that what they refer to is there, and that
their patterns and expressions fit files and records of the logger. What only the
programs themselves could tell is not checked. Exits non-zero at a finding.
"""
import fnmatch
import pathlib
import re
import sys

import yaml

RECORDS = {
    "[demo] [2026-01-05 09:03:07.042] [1234] [INFO] [main.cpp:6] [main]: port 8080":
        ("demo", "2026-01-05 09:03:07.042", "1234", "INFO", " ", "main.cpp", "6", "main",
         "port 8080"),
    "[a b] [2026-12-31 23:59:59.999] [7] [ERROR][net] [Socket.cpp:-1] [operator[]]: [x:1] [y]: no":
        ("a b", "2026-12-31 23:59:59.999", "7", "ERROR", "[net] ", "Socket.cpp", "-1", "operator[]",
         "[x:1] [y]: no"),
    "[demo] [2026-01-05 09:03:07.042] [1234] [WARN][main.cpp:6] []: 100 %\n  two\n":
        ("demo", "2026-01-05 09:03:07.042", "1234", "WARN", "", "main.cpp", "6", "",
         "100 %\n  two\n"),
}
FIELDS = ("process", "time", "thread", "level", "tag", "source", "line", "function", "message")
NO_HEADERS = ("  second line", "", "[x] y", "[demo] [2026-01-05T09:03:07.042] [1234] [INFO]")

# Names that the programs know; a slip of the pen is not among them.
FLUENT_BIT = {
    "SERVICE": {"flush", "parsers_file", "storage.path", "storage.sync",
                "storage.backlog.mem_limit"},
    "INPUT tail": {"name", "tag", "path", "path_key", "db", "read_from_head", "refresh_interval",
                   "multiline.parser", "buffer_max_size", "storage.type"},
    "FILTER parser": {"name", "match", "key_name", "parser", "reserve_data"},
    "OUTPUT forward": {"name", "match", "host", "port", "require_ack_response", "retry_limit",
                       "storage.total_limit_size"},
    "OUTPUT kafka": {"name", "match", "brokers", "topics", "retry_limit"},
    "OUTPUT es": {"name", "match", "host", "port", "index", "suppress_type_name", "retry_limit"},
    "MULTILINE_PARSER": {"name", "type", "flush_timeout", "rule"},
    "PARSER": {"name", "format", "regex", "time_key", "time_format", "time_keep"},
}
FILELOG = {"include", "start_at", "include_file_path", "storage", "multiline", "force_flush_period",
           "max_log_size", "retry_on_failure", "operators"}
REGEX_PARSER = {"type", "regex", "on_error", "timestamp", "severity"}

findings = []


def expect(condition, message):
    if not condition:
        findings.append(message)


def check_pattern(where, pattern):
    for name, wanted in {"app_20260105090307042-000-4711.log": True,
                         "metrics_4711_20260105090307042-999-1.log": True, "app.log": False,
                         "metrics_4711.log": False, "app_20260105.log": False}.items():
        expect(fnmatch.fnmatchcase(name, pathlib.PurePath(pattern).name) == wanted,
               f"{where}: {pattern} and {name}")


def compiled(where, expression):
    try:  # Python wants the names of groups its own way
        return re.compile(re.sub(r"\(\?<(?=[a-z])", "(?P<", expression))
    except re.error as error:
        findings.append(f"{where}: {error}: {expression}")
        return re.compile("")


def check_fields(where, expression):
    for record, fields in RECORDS.items():
        match = compiled(where, expression).match(record)
        shown = match and tuple(match.groupdict().get(name) for name in FIELDS)
        expect(shown == fields, f"{where}: {record!r} gives {shown}")


def check_start(where, expression, wanted=True):
    begins = compiled(where, expression)
    for record in RECORDS:
        expect(bool(begins.match(record)) == wanted, f"{where}: {record!r}")
    for line in NO_HEADERS:
        expect(bool(begins.match(line)) != wanted, f"{where}: {line!r}")


# ---- Fluent Bit: its classic format ---------------------------------------------

def fluent_sections(path, with_examples):
    """[(name, [(key, value)])]; examples are sections behind a "#"."""
    sections = []
    indented = re.compile(r"    (\S+)\s+(\S.*)")
    for number, line in enumerate(path.read_text().splitlines(), 1):
        if with_examples and re.match(r"#(\[|    \w)", line):
            line = line[1:]
        if not line.strip() or line.lstrip().startswith("#"):
            continue
        section, entry = re.fullmatch(r"\[([A-Z_]+)\]", line), indented.fullmatch(line)
        if section:
            sections.append((section.group(1), []))
        elif entry and sections:
            sections[-1][1].append(entry.groups())
        else:
            findings.append(f"{path.name}:{number}: neither a section nor an entry: {line}")
    return sections


def check_fluent_bit(folder):
    main = fluent_sections(folder / "fluent-bit.conf", with_examples=True)
    parsers = fluent_sections(folder / "zinlogger-parsers.conf", with_examples=False)
    for name, entries in main + parsers:
        values = dict(entries)
        kind = name if name in FLUENT_BIT else f"{name} {values.get('name')}"
        expect(kind in FLUENT_BIT, f"fluent-bit: unknown section {kind}")
        for key in values:
            expect(key in FLUENT_BIT.get(kind, ()), f"fluent-bit: {kind} has no key {key}")
        if name in ("INPUT", "OUTPUT", "FILTER"):
            tag = values.get("tag", values.get("match"))
            expect(tag == "zinlogger", f"fluent-bit: {kind} is for {tag}")
    expect([name for name, _ in main] == ["SERVICE", "INPUT", "FILTER"] + ["OUTPUT"] * 3,
           "fluent-bit: sections")
    known = {dict(entries)["name"]: entries for _, entries in parsers}
    service, tail, fields = (dict(entries) for _, entries in main[:3])
    expect((folder / service["parsers_file"]).is_file(), "fluent-bit: no parsers_file")
    check_pattern("fluent-bit", tail["path"])
    check_fields("fluent-bit", dict(known[fields["parser"]])["regex"].strip("/"))
    rules = dict(re.fullmatch(r'"(\w+)"\s+"/(.*)/"\s+"continuation"', value).groups()
                 for key, value in known[tail["multiline.parser"]] if key == "rule")
    expect(set(rules) == {"start_state", "continuation"}, "fluent-bit: rules")
    check_start("fluent-bit", rules["start_state"])
    check_start("fluent-bit", rules["continuation"], wanted=False)


# ---- OpenTelemetry collector ---------------------------------------------------

def check_otel_collector(folder):
    tree = yaml.safe_load((folder / "config.yaml").read_text())
    expect(set(tree) == {"extensions", "receivers", "exporters", "service"}, "otel: sections")
    for kind, names in {"receivers": tree["receivers"], "exporters": tree["exporters"]}.items():
        expect(tree["service"]["pipelines"]["logs"][kind] == list(names), f"otel: {kind} in use")
    expect(tree["service"]["extensions"] == list(tree["extensions"]), "otel: extensions in use")
    filelog = tree["receivers"]["filelog"]
    expect(set(filelog) <= FILELOG, f"otel: filelog has {set(filelog) - FILELOG}")
    queue = tree["exporters"]["otlp"]["sending_queue"]
    for user in (filelog, queue):
        expect(user["storage"] in tree["extensions"], "otel: storage")
    for pattern in filelog["include"]:
        check_pattern("otel", pattern)
    check_start("otel", filelog["multiline"]["line_start_pattern"])
    parser, = filelog["operators"]
    expect(set(parser) == REGEX_PARSER, f"otel: regex_parser has {set(parser)}")
    check_fields("otel", parser["regex"])
    levels = set(parser["severity"]["mapping"].values())
    expect(levels == {"FATAL", "ERROR", "WARN", "INFO", "DEBUG"}, "otel: levels")
    for part in ("timestamp", "severity"):
        name = parser[part]["parse_from"].removeprefix("attributes.")
        expect(f"(?P<{name}>" in parser["regex"], f"otel: {part} of {name}")


def main():
    if len(sys.argv) != 2:
        sys.exit("usage: check_configs.py CONFIGURATIONS")
    folder = pathlib.Path(sys.argv[1])
    try:
        check_fluent_bit(folder / "fluent-bit")
        check_otel_collector(folder / "otel-collector")
    except (OSError, KeyError, ValueError, AttributeError, yaml.YAMLError) as error:
        findings.append(f"{type(error).__name__}: {error}")
    for finding in findings:
        print(f"check_configs.py: {finding}", file=sys.stderr)
    if findings:
        sys.exit(1)
    print("Fluent Bit and OpenTelemetry collector: keys, references, patterns and expressions fit.")


if __name__ == "__main__":
    main()
