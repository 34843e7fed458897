"""Single changes of C++ sources: where one can be made, and which ones a seed draws.

Works on the text. It knows the layout that the formatter gives the sources (binary operators stand between
spaces, template brackets do not) and nothing of the language; what does not compile is sorted out later.
"""
import random
import re
from dataclasses import dataclass
from pathlib import Path

FLIPPED = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "==", "&&": "||", "||": "&&"}
TURNED = {"+": "-", "-": "+", "+=": "-=", "-=": "+="}

TEMPLATE = re.compile(r"\w<[^\s<>;()](?:[^<>;()]|<[^<>;()]*>)*>")
NUMBER = re.compile(r"(?<![\w.])(0[xX][\da-fA-F]+|\d+\.?\d*(?:[eE][+-]?\d+)?|\.\d+)([fFuUlL]*)(?![\w.])")
TYPE = r"(?:double|float|int|bool|char|auto|unsigned|u?int\d+_t|size_t|[A-Z]\w*)"
SIZE = re.compile(  # of an array: in a declaration before its value, in a parameter, after a reference to it
    rf"^\s*(?:(?:inline|static|constexpr|const) )*(?!return\b|else\b|case\b)[\w:]+[\s*&]+(?:const )?\w[^=;({{]*"
    rf"|\b{TYPE}(?: const)?[\s&*]+\w+\[\w+\]|\)\[\w+\]", re.M)
SIMPLE = re.compile(  # a statement that can be left out: an assignment, a call, a step, a jump
    r"(?:[\w.*(\[:>&-][^;=]*?(?:[-+*/|&]?=|\+\+|--)[^;]*|[\w:.>\[\]-]+\([^;]*\)|\+\+\w+|return|break|continue);$")
NO_STATEMENT = re.compile(
    r"(?:if|for|while|switch|case|default|do|else|using|namespace|template|struct|enum|static_assert|extern|typedef"
    r"|constexpr|const|static|inline|return\s|\[)")
DECLARATION = re.compile(rf"(?:[\w:]+(?:<[^;=]*>)?[\s&*]+\w+|{TYPE}\b)")
CONDITIONAL = re.compile(r"(?:\}? ?else )?(?:if|for|while) (?:constexpr )?\(|\}? ?else ")


@dataclass(frozen=True)
class Change:
    path: str  # from the root of the sources
    line: int  # from 1
    start: int  # of the text that goes, from the start of the file
    old: str
    new: str
    kind: str

    def name(self):
        old = re.sub(r"\s+", " ", self.old)
        return f"{self.path}:{self.line}:{self.start} {self.kind}: {old} -> {self.new or 'nothing'}"

    def apply(self, text):
        assert text.startswith(self.old, self.start)
        return text[: self.start] + self.new + text[self.start + len(self.old) :]


def blank(match):
    return re.sub(r"[^\n]", " ", match.group())


def code_only(text):
    """The same text with comments, strings, directives and template arguments blanked out."""
    text = re.sub(r'//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*"|(?<!\w)\'(?:\\.|[^\'\\])\'', blank, text, flags=re.S)
    text = re.sub(r"^\s*#(?:[^\n]*\\\n)*[^\n]*", blank, text, flags=re.M)
    text = re.sub(r"static_assert\([^;]*;|^(?:using|template)\b[^\n;{]*", blank, text, flags=re.M)
    return TEMPLATE.sub(lambda m: m.group()[0] + blank(m)[1:], text)


def nudged(digits, suffix, rng):
    """An integer moves by one, a number with a point by a hundredth of it."""
    if digits.lower().startswith("0x"):
        return hex(int(digits, 16) + 1) + suffix
    if re.fullmatch(r"\d+", digits) and "f" not in suffix.lower():
        value = int(digits)
        return str(value + (1 if value == 0 else rng.choice((-1, 1)))) + suffix
    value = float(digits)
    return repr(value * 1.01 if value else 0.01) + suffix


def statements(code):
    """(start, text) of what can be left out, with what it hangs on: `if (...) x = 1;` gives `x = 1;`."""
    previous = ""
    lines = code.split("\n")
    offset = 0
    for i, line in enumerate(lines):
        stripped = line.strip()
        begins = previous == "" or previous[-1] in ";{}:)" or previous.endswith("else")
        if stripped:
            previous = stripped
        if begins and line.startswith("    ") and stripped:
            start = offset + len(line) - len(line.lstrip())
            text = "\n".join(lines[i : i + 4])[start - offset :]
            end = text.find(";") + 1
            head = CONDITIONAL.match(text)
            guarded = False
            if head:
                depth, at = 0, head.end() - 1
                while head.group().endswith("(") and at < len(text):
                    depth += {"(": 1, ")": -1}.get(text[at], 0)
                    at += 1
                    if depth == 0:
                        break
                else:
                    at = head.end()
                skip = len(text[at:]) - len(text[at:].lstrip())
                start, text = start + at + skip, text[at + skip :]
                end = text.find(";") + 1
                guarded = True
            statement = text[:end]
            balanced = statement.count("(") == statement.count(")") and statement.count("{") == statement.count("}")
            jump = statement.startswith("return") and (guarded or statement == "return;")
            plain = SIMPLE.match(statement) and not NO_STATEMENT.match(statement)
            declared = DECLARATION.match(statement) and not re.match(r"[\w:]+\s*[-+*/|&]?=|\*", statement)
            if end and balanced and "\n\n" not in statement and (jump or (plain and not declared)):
                yield start, statement
        offset += len(line) + 1


def changes_of(path, text, rng):
    """All single changes of one file."""
    code = code_only(text)
    found = []

    def add(kind, start, old, new):
        found.append(Change(path, text.count("\n", 0, start) + 1, start, text[start : start + len(old)], new, kind))

    for m in re.finditer(r"(?<=\s)(?:<=|>=|==|!=|<|>|&&|\|\|)(?=\s)", code):
        add("comparison", m.start(), m.group(), FLIPPED[m.group()])
    for m in re.finditer(r"(?<=\s)(?:\+=|-=|\+|-)(?=\s)", code):
        add("sign", m.start(), m.group(), TURNED[m.group()])
    for m in re.finditer(r"(?:[(\[{,=?:<>&|*+/] ?|return )(-)(?=[\w(.])", code):
        add("sign", m.start(1), "-", "+")
    sized = SIZE.sub(lambda m: re.sub(r"[\[\]]", " ", m.group()), code)
    for m in re.finditer(r"(?<=[\w\])])\[([^\[\]{}]+)\]", code):
        if sized[m.start()] == " " or m.group(1).strip() in ("&", "="):
            continue
        index = text[m.start(1) : m.end(1)]
        step = rng.choice("+-") if index != "0" else "+"
        new = str(int(index) + (1 if step == "+" else -1)) if index.isdigit() else f"{index} {step} 1"
        add("index", m.start(1), index, new)
    for m in NUMBER.finditer(code):
        if not (code[m.start() - 1] == "[" and code[m.end()] == "]"):
            add("constant", m.start(), m.group(), nudged(m.group(1), m.group(2), rng))
    for start, statement in statements(code):
        add("statement", start, statement, ";" + "\n" * statement.count("\n"))
    return found


def code_lines(text):
    return sum(1 for line in code_only(text).split("\n") if re.search(r"\w", line))


def draw(root, count, seed):
    """`count` changes, shared out to the folders of src/ by their lines of code. A line is drawn, then one of
    its changes, so that a row of a table weighs no more than a statement."""
    rng = random.Random(seed)
    folders = {}
    for path in sorted(p for p in (root / "src").rglob("*") if p.suffix in (".cpp", ".h")):
        folders.setdefault(path.relative_to(root).parts[1], []).append(path)
    lines = {folder: sum(code_lines(p.read_text()) for p in paths) for folder, paths in folders.items()}
    exact = {folder: count * n / sum(lines.values()) for folder, n in lines.items()}
    share = {folder: int(x) for folder, x in exact.items()}
    for folder in sorted(exact, key=lambda f: share[f] - exact[f])[: count - sum(share.values())]:
        share[folder] += 1
    drawn = []
    for folder, paths in folders.items():
        by_line = {}
        for path in paths:
            for change in changes_of(str(path.relative_to(root)), path.read_text(), rng):
                by_line.setdefault((change.path, change.line), []).append(change)
        places = sorted(by_line)
        for place in rng.sample(places, min(share[folder], len(places))):
            drawn.append(rng.choice(by_line[place]))
    return sorted(drawn, key=lambda c: (c.path, c.start)), lines


if __name__ == "__main__":  # all changes of the files named, to look at
    import sys

    for name in sys.argv[1:]:
        for change in changes_of(name, Path(name).read_text(), random.Random(1)):
            print(change.name())
