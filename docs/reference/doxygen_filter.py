#!/usr/bin/env python3
"""Turns the comments of the public headers into Doxygen's language.

The headers are written for people who read them in an editor: plain // comments,
a column for parameters, a ruled line above each group of calls. Doxygen reads the
same text through this filter, so that nothing is written twice.

    doxygen_filter.py HEADER
"""

import re
import sys

COMMENT = re.compile(r"^(\s*)//(.*)$")
SECTION = re.compile(r"^ ---- (.*?) -+$")
# A parameter begins its line and is followed by two blanks or more; its text goes
# on in lines that are indented as far.
PARAMETER = re.compile(r"^ (\w+) {2,}(\S.*)$")
LAST_PARAMETER = re.compile(r"^ \(last\) {2,}(\S.*)$")
CONTINUED = re.compile(r"^ {6,}(\S.*)$")
SAMPLE = re.compile(r"^ {3}(.*)$")
# In the comment of a section: a macro of one level, and what it does at any level.
ROW = re.compile(r"^ ZIN_INFO(\w*)\(.*\) {2,}(\S.*)$")
LEVEL_MACRO = re.compile(r"^#define ZIN_(?:FATAL|ERROR|WARN|INFO|DEBUG)(\w*)\(")
# What a comment can describe; the rest explains the preprocessor's work.
UNDESCRIBED = re.compile(r"^\s*(#\s*(pragma|undef|if|ifdef|ifndef|endif|else|include)\b.*|)$")


# Names of calls that no English word looks like, and the class that has them.
MEMBER = re.compile(r"^ +[\w:*& ]+[ *&](\w+)\(")
FREE_FUNCTION = re.compile(r"^ZIN_LOGGER_API .*[ *&](\w+)\(")
CAMEL_CASE = re.compile(r"^[A-Z][a-z]+[A-Z]")


def calls(lines):
    """The calls that a header declares, each with the text of a link to it."""
    links = {}
    for line in lines:
        for pattern, scope in (MEMBER, "ZinLogger::"), (FREE_FUNCTION, ""):
            match = pattern.match(line)
            if match and CAMEL_CASE.match(match[1]):
                links[match[1]] = f'@ref {scope}{match[1]} "{match[1]}"'
    return links


class Text:
    """What stands in comments, made fit for Doxygen."""

    def __init__(self, links):
        self.links = links

    def fit(self, text):
        """Plain text that means itself: @, %, <, >, # and \\ are commands to Doxygen.

        It leaves alone what stands between double quotes, and so does this. Names of
        calls become links.
        """
        parts = text.split('"')
        parts[::2] = [self._linked(part) for part in parts[::2]]
        return '"'.join(parts)

    def _linked(self, part):
        plain = re.sub(r"([\\@%<>#])", r"\\\1", part)
        return re.sub(r"\b\w+\b(?!\()", lambda word: self.links.get(word[0], word[0]), plain)


def sample(lines):
    """Indented lines as they are, coloured when they are C++."""
    is_code = any(";" in line or "#include" in line for line in lines)
    return ["@code{.cpp}" if is_code else "@code{.unparsed}", *lines, "@endcode"]


def described(lines, text):
    """The lines of one comment, without their slashes, for Doxygen."""
    result = []
    i = 0
    in_parameters = False
    while i < len(lines):
        line = lines[i]
        parameter, last = PARAMETER.match(line), LAST_PARAMETER.match(line)
        if parameter:
            result.append("@param " + parameter[1] + " " + text.fit(parameter[2]))
            in_parameters = True
        elif last:
            result += ["", "The last parameter: " + text.fit(last[1])]
        elif in_parameters and CONTINUED.match(line):
            result.append(text.fit(line.strip()))
        elif SAMPLE.match(line):
            block = []
            while i < len(lines) and (SAMPLE.match(lines[i]) or (not lines[i].strip() and block)):
                block.append(lines[i][3:])
                i += 1
            while not block[-1].strip():
                block.pop()
            result += ["", *sample(block), ""]
            continue
        else:
            in_parameters = False
            result.append(text.fit(line.strip()))
        i += 1
    return result


def filtered(lines):
    """The header's lines with its comments for Doxygen."""
    text = Text(calls(lines))
    result, i, group_is_open, by_suffix = [], 0, False, {}
    while i < len(lines):
        match = COMMENT.match(lines[i])
        if not match:
            line = lines[i]
            if group_is_open and re.match(r"^(\s*private:|class )", line):
                result.append("///@}")
                group_is_open = False
            macro = LEVEL_MACRO.match(line)
            if macro and macro[1] in by_suffix:
                result.append("/// Writes " + text.fit(by_suffix[macro[1]]) + ".")
            # Nothing that a caller could use.
            if not line.rstrip().endswith("= delete;"):
                result.append(line)
            i += 1
            continue
        indent, begin, block = match[1], i, []
        while i < len(lines) and COMMENT.match(lines[i]):
            block.append(COMMENT.match(lines[i])[2])
            i += 1
        section = SECTION.match(block[0])
        if section:
            by_suffix = dict(match.groups() for match in map(ROW.match, block) if match)
            result += ["///@}"] if group_is_open else []
            result += [f"/// @name {section[1]}", "///@{"]
            group_is_open = True
        elif begin == 0:
            result += ["/// @file", "///", *("/// " + line for line in described(block, text)), ""]
        elif i < len(lines) and not UNDESCRIBED.match(lines[i]):
            result += [indent + "/// " + line for line in described(block, text)]
    return result


def main():
    if len(sys.argv) != 2:
        sys.exit("usage: doxygen_filter.py HEADER")
    with open(sys.argv[1], encoding="utf-8") as header:
        print("\n".join(filtered(header.read().splitlines())))


main()
