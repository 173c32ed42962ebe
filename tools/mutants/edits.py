"""The small changes that a test should notice: where a C++ source has them, and what each puts in."""

import re
from dataclasses import dataclass


@dataclass(frozen=True)
class Edit:
    """Puts `new` in the place of text[start:end]."""

    kind: str
    start: int
    end: int
    new: str

    def apply(self, text):
        return text[: self.start] + self.new + text[self.end :]


TOKENS = re.compile(
    r"""(?P<comment>//[^\n]*|/\*.*?\*/)
      | (?P<directive>^[ ]*\#(?:[^\n\\]|\\.)*)
      | (?P<raw>R"\((?P<rawtext>.*?)\)")
      | (?P<text>u?"(?:[^"\\\n]|\\.)*")
      | (?P<character>u?'(?:[^'\\\n]|\\.)+')""",
    re.VERBOSE | re.MULTILINE | re.DOTALL,
)

OPERATORS = [
    ("comparison", r" == ", " != "),
    ("comparison", r" != ", " == "),
    ("comparison", r" < ", " <= "),
    ("comparison", r" <= ", " < "),
    ("comparison", r" > ", " >= "),
    ("comparison", r" >= ", " > "),
    ("logic", r" && ", " || "),
    ("logic", r" \|\| ", " && "),
    ("logic", r"(?<=[\s(])!(?=[\w(*])", ""),
    ("arithmetic", r" \+ ", " - "),
    ("arithmetic", r" - ", " + "),
    ("arithmetic", r" \* (?=[\w(])", " + "),
    ("arithmetic", r"\+\+(?=\w)", "--"),
    ("arithmetic", r" \+= ", " -= "),
    ("constant", r"\btrue\b", "false"),
    ("constant", r"\bfalse\b", "true"),
]
NUMBER = re.compile(r"(?<![\w.])(0[xX][0-9A-Fa-f]+|\d+)(?=[uUlL]*\b(?![.\w]))")
LOCK = re.compile(r"detail::Lock const \w+\(")


def masked(text):
    """The text with blanks for what is no code, and the literals that were in it."""
    literals = []

    def blank(match):
        if match["text"] or match["raw"] or match["character"]:
            literals.append(match)
        # A literal stays an operand: the code around it keeps its shape.
        return re.sub(r"[^\n]", "_" if match.lastgroup != "comment" else " ", match[0])

    def clean(match):
        if match["comment"] or match["directive"]:
            return re.sub(r"[^\n]", " ", match[0])
        return blank(match)

    return TOKENS.sub(clean, text), literals


def flipped(character):
    """Another character of the same kind, as far as that goes."""
    return character.swapcase() if character.isalpha() else "_" if character != "_" else "-"


def literal_edits(literals):
    for match in literals:
        if match["character"]:
            body = match[0]
            position = len(body) - 2
            new = "t" if body[-3] == "\\" and body[-2] != "t" else "n" if body[-3] == "\\" else flipped(body[-2])
            yield Edit("constant", match.start() + position, match.start() + position + 1, new)
            continue
        first = match.start("rawtext") if match["raw"] else match.start() + match[0].index('"') + 1
        last = match.end("rawtext") if match["raw"] else match.end() - 1
        body = match.string[first:last]
        # One character in the middle, none that belongs to an escape.
        places = [i for i in range(len(body)) if body[i] != "\\" and (i == 0 or body[i - 1] != "\\")]
        if places:
            place = first + places[len(places) // 2]
            yield Edit("text", place, place + 1, flipped(match.string[place]))


def statements(code):
    """Start, end and end of the block of each statement in a function that is one expression, jump or `if` with one."""
    begun = []
    open_blocks = []  # of each: whether it is a function's, and its statements
    start = None
    depth = 0
    for i, c in enumerate(code):
        if c in "([":
            depth += 1
        elif c in ")]":
            depth -= 1
        if depth > 0 or c.isspace():
            start = i if start is None and c in "([" else start
            continue
        if c == "{":
            head = code[start:i] if start is not None else ""
            open_blocks.append((not re.match(r"(template|class|struct|enum|namespace)\b", head), []))
        elif c == "}" and open_blocks:
            begun += [(first, last, i) for first, last in open_blocks.pop()[1]]
        elif c == ";" and start is not None and open_blocks and open_blocks[-1][0]:
            open_blocks[-1][1].append((start, i + 1))
        elif start is None:
            start = i
        if c in ";{}":
            start = None
    return begun


DECLARATION = re.compile(r"(?!return|throw|delete|if|for|while)[\w:<>*&, ]*[\w>][ &*]+(\w+)(?: = |[({;])")


def drop_edits(code):
    for start, end, block_end in statements(code):
        statement = code[start:end]
        if re.match(r"(using|case|default|break)\b", statement):
            continue
        declared = DECLARATION.match(statement)
        if declared and re.search(rf"\b{declared[1]}\b", code[end:block_end]):
            continue  # Would not compile.
        if statement.startswith("return ") and code[end:].lstrip(" ").startswith("\n}"):
            continue  # Nor this.
        yield Edit("lock" if LOCK.match(statement) else "statement", start, end, ";")


def condition_edits(code):
    """Conditions without an operator that another edit changes."""
    for match in re.finditer(r"\b(?:if|while) \(([\w.:>()\[\]-]+)\)(?= )", code):
        if match[1].count("(") == match[1].count(")"):
            yield Edit("logic", match.start(1), match.end(1), f"!({match[1]})")


def edits(text):
    """All edits of a source, in their order there."""
    code, literals = masked(text)
    found = list(literal_edits(literals))
    for kind, pattern, new in OPERATORS:
        for match in re.finditer(pattern, code):
            if kind == "arithmetic" and '"' in text[match.start() - 1] + text[match.end()]:
                continue  # Texts take nothing but a plus.
            found.append(Edit(kind, match.start(), match.end(), new))
    for match in NUMBER.finditer(code):
        value = int(match[1], 0)
        new = hex(value + 1) if match[1][:2].lower() == "0x" else str(value + 1)
        found.append(Edit("constant", match.start(1), match.end(1), new))
    for edit in condition_edits(code):
        found.append(Edit(edit.kind, edit.start, edit.end, f"!({text[edit.start:edit.end]})"))
    found.extend(drop_edits(code))
    # What cannot be run, no test can notice.
    for match in re.finditer(r"// GCOVR_EXCL_START.*?// GCOVR_EXCL_STOP", text, re.DOTALL):
        found = [edit for edit in found if not match.start() <= edit.start < match.end()]
    return sorted(found, key=lambda edit: (edit.start, edit.end, edit.new))
