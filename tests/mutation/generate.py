"""Finds places in C++ sources where one small change makes a mutant.

The sources are read as tokens, as clang-format lays them out: a binary operator has blanks around it, the brackets of a
template have none. Comments, preprocessor lines and whatever stands outside functions' bodies and tables stay as they are.

Kinds: comparison and arithmetic (an operator turned round), condition (an `if` that is always or never taken), constant (a number or a
truth value), message (a text), call (a statement left out), order (two statements changed over).
"""
import collections
import re

Mutant = collections.namedtuple("Mutant", "file line kind start end original replacement")

TOKEN = re.compile(
    r"""(?P<comment>//[^\n]*|/\*.*?\*/)
      | (?P<directive>^[ \t]*\#[^\n]*)
      | (?P<text>(?:L|u8)?"(?:\\.|[^"\\\n])*")
      | (?P<character>L?'(?:\\.|[^'\\\n])*')
      | (?P<number>\b(?:0[xX][0-9A-Fa-f']+|\d[\d']*)[uUlL]*\b)
      | (?P<truth>\b(?:true|false)\b)
      | (?P<operator>(?<=[ ])(?:==|!=|<=|>=|<|>|&&|\|\||\+|-)(?=[ \n]))""",
    re.VERBOSE | re.MULTILINE | re.DOTALL)

TURNED = {"==": "!=", "!=": "==", "<": "<=", "<=": "<", ">": ">=", ">=": ">", "&&": "||", "||": "&&", "+": "-",
          "-": "+"}

CONDITION = re.compile(r"\bif \((?!const |constexpr)(?P<condition>[^;{}]*?)\) \{$", re.MULTILINE)

# A line that is one call, by itself: no declaration, no return.
STATEMENT = re.compile(r"^ +(?!return|throw|co_|using|static_assert|delete|goto)(?:static_cast<void>\()?"
                       r"(?:\*?[\w.:]|->)+\([^;{}\n]*\)+(?:[^;{}\n]*);$", re.MULTILINE)
DECLARATION = re.compile(r"^ +(?:const |auto |[\w:]+(?:<[^;]*>)?[ &*]+\w+[({=])")


def mutants_of(name, source):
    """All mutants of one source, in the order of their places."""
    blank = masked(source)
    found = [*tokens(source), *conditions(blank), *statements(blank)]
    for kind, start, end, replacement in sorted(found, key=lambda change: change[1:3]):
        if kind == "order":
            replacement = "\n".join(reversed(source[start:end].split("\n")))
        original = " ".join(source[start:end].split())
        line = source.count("\n", 0, start) + 1
        yield Mutant(name, line, kind, start, end, original, replacement)


def applied(mutant, source):
    """The source with the mutant's change."""
    return source[: mutant.start] + mutant.replacement + source[mutant.end :]


def masked(source):
    """The source with comments, directives and the inside of texts blanked out, at the same places."""
    def blank(match):
        if match.lastgroup in ("comment", "directive", "text", "character"):
            return re.sub(r"[^\n]", " ", match.group())
        return match.group()
    return TOKEN.sub(blank, source)


def tokens(source):
    for match in TOKEN.finditer(source):
        kind, text = match.lastgroup, match.group()
        line = source[source.rfind("\n", 0, match.start()) + 1 : match.start()]
        if "static_assert" in line:
            continue
        if kind == "text" and len(text) > 3 and "extern" not in line:
            yield "message", *match.span(), text.replace('"', '"~', 1)
        elif kind == "number":
            yield "constant", *match.span(), f"({text} + 1)"
        elif kind == "truth":
            yield "constant", *match.span(), "false" if text == "true" else "true"
        elif kind == "operator":
            yield "arithmetic" if text in "+-" else "comparison", *match.span(), TURNED[text]


def conditions(source):
    for match in CONDITION.finditer(source):
        for constant in ("true", "false"):
            yield "condition", *match.span("condition"), constant


def statements(source):
    previous = None
    for match in STATEMENT.finditer(source):
        if DECLARATION.match(match.group()):
            previous = None
            continue
        yield "call", *match.span(), ";"
        if previous and previous.end() + 1 == match.start() and previous.group() != match.group():
            yield "order", previous.start(), match.end(), None
        previous = match
