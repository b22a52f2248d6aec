"""C++ source as far as single faults need it: what of a line is code, and which scope it stands in."""

import re

TOKEN = re.compile(
    r"""//[^\n]*|/\*.*?\*/"""
    r"""|(?P<raw>R"(?P<mark>[^\s()\\]{0,16})\(.*?\)(?P=mark)")"""
    r"""|"(?:[^"\\\n]|\\.)*\"|(?<![0-9a-zA-Z_])'(?:[^'\\\n]|\\.)*'""", re.DOTALL)
CONDITION = re.compile(r"\s*#\s*(if|ifdef|ifndef|elif|else|endif)\b\s*(.*)")


def _blank(match):
    """Comments become spaces; texts keep their quotes, so that they stay something where a value is expected."""
    text = match.group(0)
    if text.startswith("/"):
        return re.sub(r"[^\n]", " ", text)
    return text[0] + re.sub(r"[^\n]", "_", text[1:-1]) + text[-1]


def code_of(text):
    """`text` with the contents of comments, texts and characters blanked, every column where it was."""
    return TOKEN.sub(_blank, text)


def _excludes(keyword, condition, undefined):
    """Whether a branch is left out because it asks for a macro that is not defined."""
    names = "|".join(map(re.escape, undefined)) or "(?!)"
    if keyword == "ifdef":
        return re.fullmatch(names, condition.strip()) is not None
    return keyword in ("if", "elif") and re.match(rf"defined\(?\s*({names})\b", condition.strip()) is not None


def active_lines(lines, undefined):
    """For each line whether it is compiled: preprocessor lines are not, nor is what they leave out for `undefined`."""
    active, nested, continues = [], [], False
    for line in lines:
        directive = None if continues else CONDITION.match(line)
        is_preprocessor = continues or line.lstrip().startswith("#")
        continues = is_preprocessor and line.rstrip().endswith("\\")
        if directive:
            _follow(nested, directive, undefined)
        active.append(not is_preprocessor and not any(nested))
    return active


def _follow(nested, directive, undefined):
    keyword, condition = directive.groups()
    if keyword in ("if", "ifdef", "ifndef"):
        nested.append(_excludes(keyword, condition, undefined))
    elif keyword == "endif":
        nested.pop()
    elif keyword == "elif":
        nested[-1] = _excludes(keyword, condition, undefined)
    else:
        nested[-1] = False  # the other branch of a macro that is not defined


def scopes(lines):
    """For each line the last line before it that begins in the first column: its function, class or constant."""
    current, found = "", []
    for line in lines:
        if re.match(r"[A-Za-z_~]", line) and not line.startswith("namespace"):
            current = line.strip()
        found.append(current)
    return found
