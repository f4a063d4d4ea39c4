# Copyright 2026 The Oxa Authors
# SPDX-License-Identifier: Apache-2.0
"""The single faults that can be put into a source."""

import os
import random
import re

LAYERS = {"library": ("libs/",), "platform": ("platform/",), "client": ("tools/", "jobs/")}
CODE = re.compile(r'//[^\n]*|/\*.*?\*/|R"\w*\(.*?\)\w*"|"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])+\'|^\s*#[^\n]*(?:\\\n[^\n]*)*',
                  re.DOTALL | re.MULTILINE)


def blanked(text):
    """The text with comments, literals and preprocessor lines as blanks of the same length."""
    return CODE.sub(lambda m: re.sub(r"[^\n]", " ", m.group()), text)


def swaps(code, kind, pairs):
    """Faults that replace what a pattern finds."""
    for pattern, replacement in pairs:
        for match in re.finditer(pattern, code):
            yield kind, match.start(), match.end(), match.expand(replacement)


def comparisons(code):
    return swaps(code, "comparison", [
        (r"(?<= )==(?= )", "!="), (r"(?<= )!=(?= )", "=="),
        (r"(?<= )<(?= [\w(*&!-])", ">="), (r"(?<= )>(?= [\w(*&!-])", "<="),
        (r"(?<= )&&(?= )", "||"), (r"(?<= )\|\|(?= )", "&&"),
        (r"std::min\b", "std::max"), (r"std::max\b", "std::min")])


# Of a clock nobody sees the single tick.
CLOCK = re.compile(r"([nN]ow|monotonic)(Us|Ns)?\b|\b(elapsed|left|deadline)\w*")
# The first descriptors are those of the process, and a file is never one of them.
DESCRIPTOR = re.compile(r"\b(m?[fF]d|\w*[dD]escriptor)(\(\))? [<>]=? 0\b|\bstatic_assert\b")


def boundaries(code):
    for fault in swaps(code, "boundary", [
        (r"(?<= )<=(?= )", "<"), (r"(?<= )>=(?= )", ">"),
        (r"(?<= )<(?= [\w(*&!-])", "<="), (r"(?<= )>(?= [\w(*&!-])", ">="),
        (r"(?<=[ (])(\+|-) 1\b(?!\d|\.)", r"\1 0")]):
        line = code[code.rfind("\n", 0, fault[1]):code.find("\n", fault[2])]
        if not CLOCK.search(line) and not DESCRIPTOR.search(line):
            yield fault


def units(code):
    return swaps(code, "unit", [
        (r"\b1000000000(LL)?\b", r"1000000\1"), (r"\b1000000(LL)?\b", r"1000\1"),
        (r"\b1000\b", "1000000"), (r"\b1e6\b", "1e3"), (r"\b1e9\b", "1e6")])


# What these begin with is nearly always replaced before anybody asks.
MEMBER = re.compile(r"^\s*[\w:<>*]+ m[A-Z]\w*( GUARDED_BY\(\w+\))? = $")
FILLED_WITHIN = 400  # characters, by a call that is given its address, or std::from_chars()
FIELD_OF_A_HEADER = re.compile(r"^\s*[\w:<>*]+ \w+ = $")


def constants(code, is_header):
    for match in re.finditer(r"\bconstexpr ([^;=\n]*)= (-?\d+)(?=[;LU])", code):
        value = int(match.group(2))
        new = value * 10 if value else 1
        if not (match.group(1).startswith("uint8_t") and new > 255):
            yield "constant", match.start(2), match.end(2), str(new)
    for fault in swaps(code, "constant", [(r"\btrue\b(?=[;,)])", "false"), (r"\bfalse\b(?=[;,)])", "true"),
                                          (r"(?<== )(?<!\) = )(?<!const = )0;", "1;")]):
        begin = code[code.rfind("\n", 0, fault[1]) + 1:fault[1]]
        filled = re.search(r"(\w+) = $", begin)
        if filled and re.search(rf"&{filled.group(1)}\b|\bfrom_chars\([^;]*\b{filled.group(1)}\b",
                                code[fault[2]:fault[2] + FILLED_WITHIN]):
            continue
        # Of a time nobody sees a single microsecond.
        if filled and filled.group(1).endswith(("Us", "Ns")) and fault[3] == "1;":
            fault = (*fault[:3], "1'000'000'000;" if filled.group(1).endswith("Ns") else "1'000'000;")
        if not MEMBER.search(begin) and not (is_header and FIELD_OF_A_HEADER.search(begin)):
            yield fault


ASSIGNMENT = re.compile(r"(?:[\w.>-]|\[[^\]\n]*\])+ [-+|&]?= ")
ASSERTION = re.compile(r"CHECK")
SETTER = re.compile(r"(\w+_)?set(_\w+|[A-Z]\w*)?\(")
GETTER = re.compile(r"\w+(->|\.)(find|get)\w*\(")
OPTION = re.compile(r"(\w+(->|\.))?add_?\w*([oO]ption|[fF]lag)\w*\(")
NAME = re.compile(r"[A-Za-z_]\w+")
STATEMENT = r"^( +)([A-Za-z_][^;{}\n=]*(?:=[^;{}\n=][^;{}\n]*)?);\n"


def statements(code):
    """Simple statements that stand on a line of their own."""
    for match in re.finditer(STATEMENT, code, re.MULTILINE):
        text = match.group(2)
        if re.match(r"(return|break|continue|using|typedef|case|default|public|private|delete|if|for|"
                    r"while|else|goto|const|constexpr|static|auto|struct|class|enum|extern|friend)\b", text):
            continue
        declares = re.match(r"[\w:<>,*& ]+[ *&>]\w+( =|\(|\[|$)", text) and not re.match(r"[\w.>-]+(\(| =)", text)
        # What is only logged, and setters or assertions in a row whose order nobody can see, are no faults.
        continues = not re.search(r"[;{}:]\s*$", code[:match.start()]) or re.search(r"= (delete|default)$", text)
        if not declares and not continues and not re.match(r"ALOG|LOG|(\w+(->|\.))set\w+\(", text):
            yield match


def dropped(code):
    for match in statements(code):
        text = match.group(2)
        if ASSIGNMENT.match(text):
            yield "dropped assignment", match.start(2), match.end(), "\n"
        elif "(" in text:
            yield "dropped call", match.start(2), match.end(), "\n"
    for match in re.finditer(r"^ +if \([^{}\n;]*\) (?:return|continue|break)\b[^;\n]*;\n", code, re.MULTILINE):
        yield "dropped check", match.start(), match.end(), "\n"


CALLED = re.compile(r"\w+(?=(<[^>]*>)?\()")


def acted_on(statement):
    """The names of what a statement changes, as far as can be seen: what is assigned, the object of
    its call, or all that a plain call is given."""
    target = ASSIGNMENT.match(statement)
    if target:
        return set(NAME.findall(statement[:target.end()]))
    path = re.match(r"[\w:]+(?:\(\))?(?=->|\.)", statement)
    return set(NAME.findall(path.group())) if path else named(statement)


def named(statement):
    return set(NAME.findall(statement)) - set(match.group() for match in CALLED.finditer(statement)) - {"std", "this"}


def are_tied(first, second):
    """Whether one may change what the other names, and they do more than to fill what others made."""
    targets = [ASSIGNMENT.match(text) for text in (first, second)]
    if all(targets):
        names = [re.sub(r" [-+|&]?= $", "", target.group()) for target in targets]
        return names[0] == names[1] and "[" not in names[0] or any(
            re.search(rf"(?<![\w.>]){re.escape(name)}(?!\w)", text[target.end():])
            for name, text, target in zip(names, (second, first), reversed(targets)))
    if any(all(pattern.match(text) for text in (first, second)) for pattern in (ASSERTION, SETTER, GETTER, OPTION)):
        return False
    return bool(acted_on(first) & named(second) or acted_on(second) & named(first))


def reordered(code):
    former = None
    for match in statements(code):
        together = former is not None and former.end() == match.start() and former.group(1) == match.group(1)
        if together and are_tied(former.group(2), match.group(2)):
            yield "order", former.start(), match.end(), (former, match)
        former = match


def faults_of(root, name):
    with open(os.path.join(root, name), encoding="utf-8") as source:
        text = source.read()
    code = blanked(text)
    for found in (comparisons(code), boundaries(code), units(code), constants(code, name.endswith(".h")),
                  dropped(code), reordered(code)):
        for kind, begin, end, new in found:
            if isinstance(new, tuple):
                new = text[new[1].start():new[1].end()] + text[new[0].start():new[0].end()]
            if new != text[begin:end]:
                yield {"file": name, "kind": kind, "begin": begin, "end": end, "new": new,
                       "line": text.count("\n", 0, begin) + 1, "old": text[begin:end]}


def choose(root, files, count, seed):
    """So many faults of each layer that has any; each kind of fault is as likely as the others."""
    chosen = []
    for layer, prefixes in LAYERS.items():
        rng = random.Random(f"{seed} {layer}")
        kinds = {}
        for name in files:
            if name.startswith(prefixes):
                for fault in faults_of(root, name):
                    kinds.setdefault(fault["kind"], []).append(fault)
        for faults in kinds.values():
            rng.shuffle(faults)
        for _ in range(count):
            left = sorted(kind for kind in kinds if kinds[kind])
            if left:
                chosen.append(kinds[rng.choice(left)].pop())
    return chosen
