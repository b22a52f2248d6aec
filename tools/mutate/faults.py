"""Single faults in C++ sources: each changes one line in one place."""

import hashlib
import re
from dataclasses import dataclass
from pathlib import PurePosixPath

from source import active_lines, code_of, scopes

NUMBER = re.compile(r"(?<![\w.'])(0[xX][0-9a-fA-F]+|[0-9][0-9']*)([uUlL]*)(?![\w.'])")
VALUE = r"[A-Za-z_][\w.]*(?:->\w+)*(?:\(\))?"
RELATIONS = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "=="}
ARITHMETIC = {"+": "-", "-": "+", "*": "/", "/": "*", "%": "/", "<<": ">>", ">>": "<<", "&": "|", "|": "&",
              "+=": "-=", "-=": "+=", "|=": "&=", "&=": "|="}


@dataclass(frozen=True)
class Fault:
    id: str
    file: str
    line: int  # from 1, in the file as it is now
    kind: str
    before: str
    after: str

    def diff(self):
        return f"{self.file}:{self.line} [{self.id}, {self.kind}]\n  -{self.before}\n  +{self.after}"


# Each finder yields (first column, column behind the last, what to put there) for a line of code. What to put there is a text,
# or a list of texts and of stretches of the line itself, whose texts in quotes the finder does not see.


def _mapped(code, operators):
    names = sorted(operators, key=len, reverse=True)
    for match in re.finditer(r"(?<= )(" + "|".join(map(re.escape, names)) + r")(?= )", code):
        yield match.start(), match.end(), operators[match.group()]


def relations(code):
    yield from _mapped(code, RELATIONS)


def logic(code):
    yield from _mapped(code, {"&&": "||", "||": "&&"})


def arithmetic(code):
    yield from _mapped(code, ARITHMETIC)
    for match in re.finditer(r"\+\+|--", code):
        yield match.start(), match.end(), "--" if match.group() == "++" else "++"


def truth(code):
    for match in re.finditer(r"\b(true|false)\b", code):
        yield match.start(), match.end(), "false" if match.group() == "true" else "true"


def _numbers(code):
    for match in NUMBER.finditer(code):
        yield match, int(match.group(1).replace("'", ""), 0), match.group(2)


def off_by_one(code):
    for match, value, suffix in _numbers(code):
        yield match.start(), match.end(), f"{value + 1}{suffix}"
        if value > 0:
            yield match.start(), match.end(), f"{value - 1}{suffix}"


def limits(code):
    """Durations and limits: a named constant twice and half as large."""
    if "constexpr" not in code:
        return
    for match, value, suffix in _numbers(code):
        if value >= 3:
            yield match.start(), match.end(), f"{value * 2}{suffix}"
            yield match.start(), match.end(), f"{value // 2}{suffix}"


def _closing(code, opening):
    depth = 0
    for column in range(opening, len(code)):
        depth += {"(": 1, ")": -1}.get(code[column], 0)
        if depth == 0:
            return column
    return None


def _conditions(code):
    """The conditions that begin and end on the line and declare nothing."""
    for match in re.finditer(r"\b(if|while) \(", code):
        end = _closing(code, match.end() - 1)
        if end is not None and not re.search(r" = |;", code[match.end():end]):
            yield match.group(1), match.end(), end


def negations(code):
    for _, start, end in _conditions(code):
        yield start, end, ["!(", (start, end), ")"]
    match = re.search(r"\breturn ([^;{}]+);", code)
    if match and not re.fullmatch(r"[\d_\"'\w]+|.*\b(true|false|nullptr)\b.*", match.group(1)):
        yield *match.span(1), ["!(", match.span(1), ")"]
    elif match and re.fullmatch(r"m_\w+|is\w+|ok|sent|\w+ed", match.group(1)):
        yield *match.span(1), ["!", match.span(1)]


def guards(code):
    for keyword, start, end in _conditions(code):
        if keyword == "if":
            yield start, end, "false"


def _end_of_branch(code, start):
    depth = 0
    for column in range(start, len(code)):
        depth += {"(": 1, "{": 1, "[": 1, ")": -1, "}": -1, "]": -1}.get(code[column], 0)
        if depth < 0 or depth == 0 and code[column] in ";,":
            return column
    return len(code)


def choices(code):
    for match in re.finditer(r" \? ([^?;]+?) : ", code):
        end = _end_of_branch(code, match.end())
        if _end_of_branch(code, match.start(1)) >= match.end(1) and "?" not in code[match.end():end]:
            yield match.start(1), end, [(match.end(), end), " : ", match.span(1)]


def _statement(code):
    """Where the statement of the line begins, behind an `if` or `else` before it."""
    start = len(code) - len(code.lstrip())
    while match := re.compile(r"(?:else )?(?:if|while|for) \(|else ").match(code, start):
        if match.group() == "else ":
            start = match.end()
            continue
        end = _closing(code, match.end() - 1)
        if end is None:
            return len(code)
        start = end + 2
    return start


def removals(code):
    """A whole statement: a call, an assignment, a deletion, a block of its own."""
    code = code.rstrip()
    start = _statement(code)
    if re.compile(r"\{ [^{}]*; \}$").match(code, start):
        yield start, len(code), "{}"
    match = re.compile(r"(?:(?:delete(?:\[\])?|throw) |\+\+|--|\*)?([A-Za-z_(][^;{}]*);$").match(code, start)
    if not match or re.search(r" = (default|delete);$", code):
        return
    head = re.split(r"[(=]", match.group(1), maxsplit=1)[0].rstrip(" +-|&")
    if re.match(r"(return|using|static|const|constexpr|auto|friend|typedef|static_cast)\b", match.group(1)):
        return
    if " " in head or head == match.group(1) and head not in ("break", "continue") and start == match.start(1):
        return  # a declaration
    yield start, len(code), ";"


def swaps(code):
    """Two plain arguments that stand beside each other."""
    for match in re.finditer(rf"(?<=[(,{{])\s?({VALUE}), ({VALUE})(?=[,)}}])", code):
        if match.group(1) != match.group(2) and "this" not in match.groups():
            yield match.start(1), match.end(2), [match.span(2), ", ", match.span(1)]


FINDERS = {"relation": relations, "logic": logic, "arithmetic": arithmetic, "truth": truth, "off by one": off_by_one,
           "limit": limits, "negation": negations, "guard": guards, "choice": choices, "removal": removals,
           "swap": swaps}


def _identity(*parts):
    return hashlib.sha256("\0".join(map(str, parts)).encode()).hexdigest()[:10]


def _called(name):
    """The file's name in whatever folder it is kept, and whichever systems it is for."""
    return re.sub(r"_(posix|windows)(?=\.)", "", PurePosixPath(name).name)


def faults_of(name, text, undefined):
    """All faults of one file, in the order of its lines. Their ids outlive changes elsewhere in the file, and its move."""
    lines, codes = text.split("\n"), code_of(text).split("\n")
    where, compiled = scopes(codes), active_lines(codes, undefined)
    seen, found = {}, []
    for index, (line, code) in enumerate(zip(lines, codes)):
        if not compiled[index] or not code.strip():
            continue
        for after, kind in _changes(line, code).items():
            key = (_called(name), where[index], line.strip(), kind, after.strip())
            seen[key] = seen.get(key, 0) + 1
            found.append(Fault(_identity(*key, seen[key]), name, index + 1, kind, line, after))
    return found


def _changes(line, code):
    """What the line can become, each with the kind of the fault."""
    changes = {}
    for kind, finder in FINDERS.items():
        for start, end, instead in finder(code):
            changes.setdefault(line[:start] + _text(instead, line) + line[end:], kind)
    return changes


def _text(instead, line):
    parts = [instead] if isinstance(instead, str) else instead
    return "".join(part if isinstance(part, str) else line[slice(*part)] for part in parts)


def select(faults, count, seed):
    """`count` of the faults: each file has its share, spread over kinds and lines. The same seed gives the same ones,
    and a fault that comes or goes elsewhere hardly changes them."""
    rank = {fault.id: _identity(seed, fault.id) for fault in faults}
    files = {}
    for fault in sorted(faults, key=lambda fault: rank[fault.id]):
        files.setdefault(fault.file, []).append(fault)
    if count >= len(faults):
        return sorted(faults, key=_place)
    chosen = [fault for name in files for fault in _spread(files[name], len(files[name]) * count / len(faults))]
    return sorted(sorted(chosen, key=lambda fault: rank[fault.id])[:count], key=_place)


def _place(fault):
    return fault.file, fault.line, fault.kind, fault.after


def _spread(faults, share):
    """At least one of the faults; kinds take turns, and no line comes twice while there is another."""
    chosen, kinds, lines = [], {}, {}
    left = list(faults)
    while left and len(chosen) < max(1, round(share + 0.5)):
        best = min(left, key=lambda fault: (lines.get(fault.line, 0), kinds.get(fault.kind, 0)))
        left.remove(best)
        chosen.append(best)
        kinds[best.kind] = kinds.get(best.kind, 0) + 1
        lines[best.line] = lines.get(best.line, 0) + 1
    return chosen
