# SPDX-License-Identifier: MIT
"""The small changes that can be made to a source file, found in its tokens.

Not touched: comments, texts, preprocessor lines, static_assert and functions that only run while compiling
(consteval). Spaces tell a binary operator from a pointer, a reference or a template's brackets: the sources
are formatted by a tool.
"""
import re
from dataclasses import dataclass

TOKEN = re.compile(
    r"""(?P<skip>//[^\n]*|/\*.*?\*/|^[ \t]*\#(?:\\\n|[^\n])*|"(?:\\.|[^"\\])*"|'(?:\\.|[^'\\])'|\[\[.*?\]\]|\s+)
      | (?P<number>0[xX][0-9a-fA-F']+[uUlL]*|\d[\d']*[uUlL]*)
      | (?P<word>[A-Za-z_]\w*)
      | (?P<sign><<=|>>=|->|\+\+|--|<<|>>|<=|>=|==|!=|&&|\|\||::|[-+*/%&|^]=|.)""",
    re.VERBOSE | re.DOTALL | re.MULTILINE)

# What a binary operator is replaced by.
BOUNDS = {"<": "<=", "<=": "<", ">": ">=", ">=": ">"}
OPERATORS = {"==": "!=", "!=": "==", "&&": "||", "||": "&&", "+": "-", "-": "+", "*": "+", "/": "*", "%": "/",
             "&": "|", "|": "&", "^": "|", "<<": ">>", ">>": "<<",
             "+=": "-=", "-=": "+=", "*=": "+=", "|=": "&=", "&=": "|=", "^=": "|=", "<<=": ">>=", ">>=": "<<="}
STATEMENT = re.compile(
    r"(\(void\)\s*)?(\+\+|--)?\*?[A-Za-z_][\w:]*(<\w+>)?((->|\.|::)\w+|\[[^\]]*\])*\s*(\(|=[^=]|[-+*/%&|^]=|<<=|>>=|\+\+|--|;)")
NO_STATEMENT = ("return ", "using ", "namespace ", "public", "private", "static_assert", "else", "if ", "for ", "while ",
                "do ", "switch ", "case ", "template", "asm ")


@dataclass(frozen=True)
class Mutant:
    file: str
    start: int
    end: int
    text: str
    kind: str
    line: int
    column: int
    change: str

    @property
    def name(self):
        which = f"={self.text}" if self.kind == "swapped-constant" else ""
        return f"{self.file}:{self.line}:{self.column}:{self.kind}{which}"

    def apply(self, source):
        return source[:self.start] + self.text + source[self.end:]


class Finder:
    def __init__(self, file, source):
        self.file, self.source, self.found = file, source, []
        self.tokens = [(m.lastgroup, m.group(), m.start(), m.end())
                       for m in TOKEN.finditer(source) if m.lastgroup != "skip"]
        self.dead = self.never_run()
        self.constants = sorted(set(re.findall(r"^(?:inline )?constexpr (?:u?int\d+_t|size_t|int) (\w+)\b(?!\()", source,
                                               re.MULTILINE)))
        self.prefixed = sorted(set(re.findall(r"\b[A-Z][A-Z0-9]+(?:_[A-Z0-9]+)+\b", source)))

    def add(self, start, end, text, kind):
        line = self.source.count("\n", 0, start) + 1
        column = start - self.source.rfind("\n", 0, start)
        old, new = " ".join(self.source[start:end].split()), " ".join(text.split())
        change = f"{old} -> {new}" if new else f"without {old}"
        self.found.append(Mutant(self.file, start, end, text, kind, line, column, change))

    # The index of the token that closes what token i opens.
    def closing(self, i):
        opened = self.tokens[i][1]
        closed, depth = {"(": ")", "{": "}", "[": "]"}[opened], 0
        for k in range(i, len(self.tokens)):
            if self.tokens[k][1] == opened:
                depth += 1
            elif self.tokens[k][1] == closed:
                depth -= 1
                if depth == 0:
                    return k
        return len(self.tokens) - 1

    # Tokens that only the compiler sees.
    def never_run(self):
        dead = set()
        for i, (_, text, _, _) in enumerate(self.tokens):
            if text in ("static_assert", "asm", "operator"):
                end = i + 2 if text == "operator" else self.closing(next(k for k in range(i, len(self.tokens))
                                                                         if self.tokens[k][1] == "("))
            elif text == "consteval":
                end = self.closing(next(k for k in range(i, len(self.tokens)) if self.tokens[k][1] == "{"))
            else:
                continue
            dead.update(range(i, end + 1))
        return dead

    def all(self):
        for i, (group, text, start, end) in enumerate(self.tokens):
            if i in self.dead:
                continue
            if group == "number":
                self.number(text, start, end)
            elif group == "word":
                self.word(i, text, start, end)
            elif text in ("++", "--"):
                self.add(start, end, "--" if text == "++" else "++", "operator")
            elif text == "!":
                self.add(start, end, "", "negation")
            elif self.source[start - 1].isspace() and self.source[end:end + 1].isspace():
                if text in BOUNDS:
                    self.add(start, end, BOUNDS[text], "bound")
                if text in OPERATORS:
                    self.add(start, end, OPERATORS[text], "operator")
            self.statement(i)
        return self.found

    def number(self, text, start, end):
        digits, suffix = re.fullmatch(r"(.*?)([uUlL]*)", text).groups()
        value = int(digits.replace("'", ""), 16 if digits[:2] in ("0x", "0X") else 10)
        shown = (lambda v: f"0x{v:x}{suffix}") if digits[:2] in ("0x", "0X") else (lambda v: f"{v}{suffix}")
        self.add(start, end, shown(value + 1), "constant")
        if value > 0:
            self.add(start, end, shown(value - 1), "constant-less")

    def word(self, i, text, start, end):
        if text in ("if", "while"):
            k = i + 2 if self.tokens[i + 1][1] == "constexpr" else i + 1
            if self.tokens[k][1] == "(":
                first, last = self.tokens[k][3], self.tokens[self.closing(k)][2]
                self.add(first, last, f"!({self.source[first:last]})", "negation")
        elif text in ("true", "false"):
            self.add(start, end, "false" if text == "true" else "true", "constant")
        elif text in ("break", "continue") or (text == "return" and self.tokens[i + 1][1] == ";"):
            self.add(start, end, "", "removal")
        else:
            self.named(i, text, start, end)

    # A constant's use, replaced by another constant of the file.
    def named(self, i, text, start, end):
        if text in self.constants and self.tokens[i + 1][1] != "=":
            others = [name for name in self.constants if name != text]
        elif text in self.prefixed:
            family = text.split("_")[0]
            others = [name for name in self.prefixed if name != text and name.split("_")[0] == family]
        else:
            return
        for other in others:
            self.add(start, end, other, "swapped-constant")

    # A call or an assignment that stands alone.
    def statement(self, i):
        if i == 0 or self.tokens[i - 1][1] not in (";", "{", "}", ")", "else"):
            return
        start = self.tokens[i][2]
        rest = self.source[start:]
        if rest.startswith(NO_STATEMENT) or not STATEMENT.match(rest):
            return
        k = i
        while k < len(self.tokens) and self.tokens[k][1] != ";":
            if self.tokens[k][1] in ("{", "}", ")"):
                return
            k = self.closing(k) + 1 if self.tokens[k][1] in ("(", "[") else k + 1
        if k < len(self.tokens):
            self.add(start, self.tokens[k][2], "", "removal")


def mutants_of(file, source):
    return Finder(file, source).all()
