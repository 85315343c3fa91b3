"""Makes the mutated copy of the library's sources: every mutant compiled in once, chosen when a program runs.

A mutant is one small change: `a < b` becomes `(qpd_mutant(17) ? (a <= b) : (a < b))`, a statement becomes
`if (qpd_mutant(18)) {} else { statement }`. The sources are read as tokens; how they are formatted (blanks around
binary operators, none inside template arguments, braces around every body) tells what tokens alone leave open. A change
that does not compile is left out, so what is read wrongly costs a mutant and nothing else.
"""

import dataclasses
import re

TOKEN = re.compile(r"""
    (?P<space>\s+|//[^\n]*|/\*.*?\*/|^[ \t]*\#[^\n]*)
  | (?P<string>(?:L|u8|u|U)?"(?:\\.|[^"\\\n])*")
  | (?P<char>(?:L|u8|u|U)?'(?:\\.|[^'\\\n])*')
  | (?P<number>(?:0[xX][0-9A-Fa-f']+|\d[\d']*(?:\.\d+)?)[uUlLfF]*)
  | (?P<word>[A-Za-z_]\w*)
  | (?P<sign><=>|<<=|>>=|->\*|\.\.\.|::|->|\+\+|--|<<|>>|<=|>=|==|!=|&&|\|\||[-+*/%&|^]=|\.\*
      |[-+*/%&|^~!=<>?:;,.(){}\[\]])
""", re.VERBOSE | re.DOTALL | re.MULTILINE)

CLOSING = {"(": ")", "[": "]", "{": "}", "<": ">"}
# From the loosest to the tightest; all associate to the left.
LEVELS = (("||",), ("&&",), ("|",), ("^",), ("&",), ("==", "!="), ("<", ">", "<=", ">="), ("<<", ">>"), ("+", "-"),
          ("*", "/", "%"))
ASSIGNMENTS = ("=", "+=", "-=", "*=", "/=", "%=", "&=", "|=", "^=", "<<=", ">>=")
UNARY = ("!", "~", "*", "&", "-", "+", "++", "--", "delete", "throw", "return")

OPERATORS = {
    "<": ("<=", "=="), "<=": ("<", ">=", "=="), ">": (">=", "=="), ">=": (">", "<=", "=="),
    "==": ("!=", "<=", ">="), "!=": ("==", "<", ">"),
    "&&": ("||",), "||": ("&&",), "&": ("|",), "|": ("&",), "+": ("-",), "-": ("+",),
    "*": ("/",), "/": ("*",), "%": ("/",), "<<": (">>",), ">>": ("<<",),
}
# Names that stand for each other: what the right one answers, the wrong one of the same form answers otherwise.
SWAPPED_NAMES = (
    ("begin", "end"), ("front", "back"), ("first", "second"), ("lower_bound", "upper_bound"), ("find", "upper_bound"),
    ("byMetaKey", "byGeometry"), ("byLink", "byMetaKey"), ("uniqueLinks", "validatedLinks"), ("Unique", "Validated"),
    ("Both", "Validated"), ("ChangesUnique", "ChangesValidated"), ("ReadsUnique", "ChangesUnique"),
    ("componentPath", "secondPath"), ("from", "to"), ("left", "right"), ("copy", "original"), ("min", "max"),
    ("oldKey", "newKey"), ("sharedFound", "sharedPartFound"), ("fromOutermostFirst", "ownTo"),
    ("GenerateMissingKeys", "RenewFirstLinks"), ("c_partComponent", "c_assemblyComponent"),
    ("HasLinks", "HasValidatedLinks"), ("HasSecondPath", "HasOutermostFirst"), ("AppVersion", "MathVersion"),
    ("AppVersionOf", "HasLinks"), ("IsVersion16bit", "IsVersion64bit"), ("c_allOnes", "c_narrowAllOnes"),
    ("narrowStream", "countOverflow"), ("noMemory", "narrowStream"), ("countOverflow", "noMemory"),
    ("WriteUInt32", "WriteCount"), ("ReadUInt32", "ReadCount"), ("writeUInt64", "writeUInt32"),
    ("c_firstWithLinks", "c_firstWithValidatedLinks"),
    ("c_firstOfMajor20WithSecondPath", "c_firstOfMajor21WithSecondPath"),
    ("ReadIncludeFlag", "ReadExcludeFlag"), ("ReadEmbodimentBoundFlag", "ReadIncludeFlag"),
    ("includeFlag", "excludeFlag"), ("CalcIncludeFlag", "CalcEmbodimentBoundFlag"), ("isIncluded", "isExcluded"),
    ("GetRawPartHandler", "GetGroupPartHandler"), ("GetGroupKey", "GetObjectKey"),
    ("IsManualBillet", "IsAssociativeBillet"), ("objectKey", "groupKey"), ("group", "key"),
    ("GetObjPropValue", "GetPropValueRef"), ("c_position", "c_marking"), ("IsGroupObject", "HasObject"),
    ("GetGroupObjectKey", "GetGroupKey"), ("component", "sourceComponent"), ("IsAlive", "Get"),
    ("count_if", "find_if"), ("GetMetaObjectKeys", "GetMetaObjectKey"), ("GetGeometryObjects", "GetGeometryObject"),
    ("RemoveLink", "AddLink"), ("IfPositionObject", "IfComponent"),
)


@dataclasses.dataclass(frozen=True)
class Token:
    kind: str
    text: str
    start: int
    end: int


@dataclasses.dataclass(frozen=True)
class Group:
    """What stands between a pair of brackets, with them."""
    open: str
    items: tuple
    start: int
    end: int

    @property
    def text(self):
        return self.open


@dataclasses.dataclass
class Mutant:
    file: str
    line: int
    line_text: str
    kind: str
    before: str
    after: str
    folder: str
    start: int
    end: int
    form: str  # "expression", "statement" or "move": put before the statement at `start`, instead of in its own place
    target: int = 0  # where the statement begins that a moved one is put before
    occurrence: int = 1
    number: int = 0

    @property
    def change(self):
        text = f"{self.before}  =>  {self.after}" if self.after else f"{self.before}  =>  (removed)"
        return text if self.occurrence == 1 else f"{text}  #{self.occurrence}"

    @property
    def identity(self):
        return f"{self.file} | {self.line_text} | {self.kind}: {self.change}"


def tokens_of(text):
    position, result = 0, []
    while position < len(text):
        found = TOKEN.match(text, position)
        if not found:
            raise ValueError(f"no token at {text[position:position + 40]!r}")
        if found.lastgroup != "space":
            result.append(Token(found.lastgroup, found.group(), found.start(), found.end()))
        position = found.end()
    return result


def is_template_open(text, tokens, i):
    token = tokens[i]
    if token.text != "<" or i == 0 or tokens[i - 1].text in ("template", "operator"):
        return i > 0 and token.text == "<" and tokens[i - 1].text == "template"
    return tokens[i - 1].kind == "word" and text[token.start - 1] not in " \n"


def grouped(text, tokens, i=0, closing=None):
    """The tokens from i on as a tree of groups; ends behind the closing bracket."""
    items = []
    while i < len(tokens):
        token = tokens[i]
        if closing and token.text == closing:
            return tuple(items), i
        if closing == ">" and token.text == ">>":  # two ends of template arguments
            tokens[i:i + 1] = [Token("sign", ">", token.start, token.start + 1),
                               Token("sign", ">", token.start + 1, token.end)]
            continue
        if token.text in "([{" or is_template_open(text, tokens, i):
            inner, end = grouped(text, tokens, i + 1, CLOSING[token.text])
            items.append(Group(token.text, inner, token.start, tokens[end].end))
            i = end + 1
            continue
        items.append(token)
        i += 1
    if closing:
        raise ValueError(f"no {closing}")
    return tuple(items), i


def is_group(item, bracket):
    return isinstance(item, Group) and item.open == bracket


def is_word(item, *texts):
    return isinstance(item, Token) and item.kind == "word" and (not texts or item.text in texts)


def split(items, separator):
    """The runs between separators; an empty list gives none."""
    runs, run = [], []
    for item in items:
        if isinstance(item, Token) and item.text == separator:
            runs.append(run)
            run = []
        else:
            run.append(item)
    return runs + [run] if run or runs else []


class Source:
    def __init__(self, file, text):
        self.file = file
        self.text = text
        self.folder = file.split("/")[0]
        self.mutants = []
        self.file_items(grouped(text, tokens_of(text))[0])

    # Mutants.

    def plain(self, start, end):
        """The text as one line, without comments, so that it can stand a second time inside a line."""
        return " ".join(token.text for token in tokens_of(self.text[start:end]))

    def add(self, kind, start, end, after, form="expression", target=0):
        line = self.text.count("\n", 0, start) + 1
        before = self.plain(start, end)
        if before == after or any((other.start, other.end, other.after) == (start, end, after)
                                  for other in self.mutants):
            return
        mutant = Mutant(self.file, line, self.text.splitlines()[line - 1].strip(), kind, before, after, self.folder,
                        start, end, form, target)
        mutant.occurrence += sum(other.line_text == mutant.line_text and other.kind == kind and
                                 other.before == before and other.after == after for other in self.mutants)
        self.mutants.append(mutant)

    # Declarations, from the outside to the function bodies.

    def file_items(self, items):
        start = 0
        for i, item in enumerate(items):
            if isinstance(item, Token) and item.text == ";":
                self.namespace_variable(items[start:i])
                start = i + 1
            elif is_group(item, "{"):
                head = items[start:i]
                words = [part.text for part in head if is_word(part)]
                if "namespace" in words or (("class" in words or "struct" in words) and
                                            not any(is_group(part, "(") for part in head)):
                    self.file_items(item.items)
                    start = i + 1
                elif any(is_group(part, "(") for part in head) and not any(part.text == "=" for part in head):
                    self.statements(item.items)
                    start = i + 1
            elif isinstance(item, Token) and item.text == ":" and i and is_word(items[i - 1], "public", "private"):
                start = i + 1

    def namespace_variable(self, items):
        words = [part.text for part in items if is_word(part)]
        signs = [i for i, part in enumerate(items) if isinstance(part, Token) and part.text == "="]
        if not signs or {"using", "constexpr", "static_assert", "template", "virtual"} & set(words):
            return
        value = items[signs[0] + 1:]
        # The compiler evaluates what has no constructor: nothing is left to choose when a program runs.
        if "std" in words or not is_group(value[0], "{"):
            self.initializer(value)

    # Statements.

    def statements(self, items):
        i, previous = 0, None
        while i < len(items):
            i, whole, movable = self.statement(items, i)
            if whole and movable and previous:
                self.add("swapped statements", *whole, self.plain(*previous), "move", previous[0])
            previous = whole if movable else None

    def statement(self, items, i):
        """Reads one; returns where the next begins, its span, and whether it may change places with a neighbour."""
        item = items[i]
        if is_group(item, "{"):
            self.statements(item.items)
            return i + 1, None, False
        if is_word(item, "if", "for", "while"):
            return self.compound(items, i)
        end = i
        while not (isinstance(items[end], Token) and items[end].text == ";"):
            end += 1
        body, span = list(items[i:end]), (item.start, items[end].end)
        # What the processor is asked to fetch beforehand changes no behaviour, whatever it is.
        if not body or is_word(item, "using", "static_assert", "Q_ASSERT_CALLER", "typedef", "__builtin_prefetch"):
            return end + 1, None, False
        if is_word(item, "return", "continue", "break", "throw"):
            if is_word(item, "return") and len(body) > 1:
                is_empty = re.fullmatch(r"false|[A-Z]\w* \( \)", self.plain(body[1].start, body[-1].end))
                if not is_empty:
                    self.add("empty result", *span, "return { } ;", "statement")
                # A returned variable is moved or made in place; beside a mutant it would be copied, mutated or not.
                if len(body) > 2 or not is_word(body[1]) or body[1].text in ("true", "false"):
                    self.expression(body[1:])
            else:
                self.add("removed statement", *span, "", "statement")
            return end + 1, None, False
        if self.is_declaration(body):
            self.declaration(body)
            return end + 1, None, False
        self.add("removed statement", *span, "", "statement")
        self.swapped_names(body, span)
        self.expression(body)
        return end + 1, span, True

    def compound(self, items, i):
        keyword, head = items[i], items[i + 1]
        if is_word(head, "constexpr"):
            i += 1
            head = items[i + 1]
        body = items[i + 2]
        end = i + 3
        if is_word(keyword, "for"):
            self.for_head(head)
        else:
            self.condition(head)
        self.statements(body.items)
        has_else = False
        while end < len(items) and is_word(items[end], "else"):
            has_else = True
            if is_word(items[end + 1], "if"):
                self.condition(items[end + 2])
                self.statements(items[end + 3].items)
                end += 4
            else:
                self.statements(items[end + 1].items)
                end += 2
        span = (keyword.start, items[end - 1].end)
        if not has_else and not self.is_one_removable(body.items):
            self.add("removed statement", *span, "", "statement")
        return end, span, True

    @staticmethod
    def is_one_removable(items):
        """One statement that is removed by a mutant of its own: removing what is around it is the same."""
        ends = [i for i, item in enumerate(items) if isinstance(item, Token) and item.text == ";"]
        if is_word(items[0], "if", "for", "while"):
            return not ends and not any(is_word(item, "else") for item in items) and sum(
                is_word(item, "if", "for", "while") for item in items) == 1
        return ends == [len(items) - 1] and not (is_word(items[0], "return") and len(items) > 2)

    def for_head(self, head):
        parts = split(head.items, ";")
        if len(parts) == 1:
            _, _, ranged = self.around_colon(head.items)
            if ranged:
                self.expression(ranged)
            return
        if self.is_declaration(parts[0]):
            self.declaration(parts[0])
        self.condition_items(parts[1])
        if len(parts) > 2:
            self.expression(parts[2])

    @staticmethod
    def around_colon(items):
        for i, item in enumerate(items):
            if isinstance(item, Token) and item.text == ":":
                return items[:i], item, list(items[i + 1:])
        return items, None, []

    def condition(self, head):
        self.condition_items(list(head.items))

    def condition_items(self, items):
        if any(isinstance(item, Token) and item.text == "=" for item in items):
            self.declaration(list(items))
            return
        # A comparison, and what is negated already, have a mutant that says the same.
        span = (items[0].start, items[-1].end)
        if items[0].text != "!" and not any(isinstance(item, Token) and item.text in ("==", "!=") for item in items):
            self.add("negated condition", *span, f"! ( {self.plain(*span)} )")
        self.expression(list(items))

    @staticmethod
    def is_declaration(items):
        if is_word(items[0], "const", "auto", "static", "constexpr", "template", "class", "struct"):
            return True
        if is_word(items[0], "delete", "throw", "new"):
            return False
        # A type, then a name: `A::B<C> name`, `A& name`.
        i = 0
        while i < len(items) and (is_word(items[i]) or items[i].text == "::" or is_group(items[i], "<")):
            if is_word(items[i]) and i and (is_word(items[i - 1]) or is_group(items[i - 1], "<")):
                return True
            i += 1
        return 0 < i < len(items) - 1 and items[i].text in ("&", "*") and is_word(items[i + 1]) and (
            i + 2 == len(items) or items[i + 2].text == "=")

    def declaration(self, items):
        for i, item in enumerate(items):
            if isinstance(item, Token) and item.text == "=":
                self.initializer(items[i + 1:])
                return
        if is_group(items[-1], "(") and len(items) > 1:
            self.arguments(items[-1], True)
        elif is_group(items[-1], "{"):
            self.arguments(items[-1], False)

    def initializer(self, items):
        if len(items) == 1 and is_group(items[0], "{"):
            self.arguments(items[0], False)
        elif items:
            self.expression(list(items))

    # Expressions.

    def expression(self, items):
        if not items:
            return
        start, end = items[0].start, items[-1].end
        for i, item in enumerate(items):
            if isinstance(item, Token) and item.text in ASSIGNMENTS:
                self.primary(items[:i])
                self.initializer(items[i + 1:])
                return
        marks = [i for i, item in enumerate(items) if isinstance(item, Token) and item.text == "?"]
        if marks:
            mark = marks[0]
            depth, colon = 0, mark + 1
            while not (items[colon].text == ":" and isinstance(items[colon], Token) and depth == 0):
                if isinstance(items[colon], Token):
                    depth += {"?": 1, ":": -1}.get(items[colon].text, 0)
                colon += 1
            condition, yes, no = items[:mark], items[mark + 1:colon], items[colon + 1:]
            texts = [self.plain(part[0].start, part[-1].end) for part in (condition, yes, no)]
            self.add("negated condition", start, end, f"{texts[0]} ? {texts[2]} : {texts[1]}")
            self.add("one case", start, end, texts[1])
            self.add("one case", start, end, texts[2])
            for part in (condition, yes, no):
                self.expression(part)
            return
        for level in LEVELS:
            for i in range(len(items) - 1, 0, -1):
                item = items[i]
                if isinstance(item, Token) and item.text in level and self.is_binary(items, i):
                    self.binary(items, i)
                    return
        self.unary(items)

    def is_binary(self, items, i):
        before, token = items[i - 1], items[i]
        if isinstance(before, Token) and (before.kind == "sign" or before.text in UNARY):
            return False
        return self.text[token.start - 1] in " \n" and self.text[token.end] in " \n" and i + 1 < len(items)

    def binary(self, items, i):
        left, right, sign = items[:i], items[i + 1:], items[i].text
        start, end = left[0].start, right[-1].end
        texts = [self.plain(part[0].start, part[-1].end) for part in (left, right)]
        for other in OPERATORS.get(sign, ()):
            self.add("operator", start, end, f"{texts[0]} {other} {texts[1]}")
        if sign in ("&&", "||"):
            self.add("removed operand", start, end, texts[1])
            self.add("removed operand", start, end, texts[0])
        if sign in ("-", "<", ">", "+"):
            self.add("swapped operands", start, end, f"{texts[1]} {sign} {texts[0]}")
        if sign in ("+", "&", "|"):
            self.add("removed operand", start, end, texts[0])
            self.add("removed operand", start, end, texts[1])
        self.expression(left)
        self.expression(right)

    def unary(self, items):
        first = items[0]
        if isinstance(first, Token) and first.text in ("!", "~", "-"):
            self.add("removed operator", first.start, items[-1].end, self.plain(items[1].start, items[-1].end))
            self.expression(items[1:])
        elif isinstance(first, Token) and first.text in ("++", "--"):
            return
        elif isinstance(first, Token) and first.text in UNARY:
            self.expression(items[1:])
        else:
            self.primary(items)

    def primary(self, items):
        """Names, literals, calls and their chains."""
        if len(items) == 1 and isinstance(items[0], Token):
            self.leaf(items[0])
            return
        if is_group(items[0], "["):  # a lambda
            if len(items[0].items) > 0:
                self.captures(items[0])
            if is_group(items[-1], "{"):
                self.statements(items[-1].items)
            return
        start = items[0].start
        for i, item in enumerate(items):
            if is_group(item, "("):
                is_cast = i > 1 and is_group(items[i - 1], "<") and items[i - 2].text.endswith("_cast")
                if i == 0:
                    self.expression(list(item.items))
                else:
                    self.arguments(item, not is_cast)
            elif is_group(item, "{"):
                self.arguments(item, False)
            elif is_group(item, "["):
                self.expression(list(item.items))
        # The whole, with one of its names exchanged. What is longer than a name and its call is met once, as a whole.
        if not is_word(items[0], "new"):
            for i, item in enumerate(items):
                if is_word(item):
                    self.swapped_name(items, item, (start, items[-1].end))
        self.constant(items)
        self.virtual_call(items)

    def captures(self, group):
        for run in split(group.items, ","):
            signs = [i for i, item in enumerate(run) if isinstance(item, Token) and item.text == "="]
            if signs and signs[0] == 1:
                self.expression(run[2:])

    def leaf(self, token):
        if token.kind == "number":
            for after in (f"{token.text} + 1", f"{token.text} - 1"):
                self.add("constant", token.start, token.end, after)
        elif token.text in ("true", "false"):
            self.add("constant", token.start, token.end, "false" if token.text == "true" else "true")
        elif token.kind == "string":
            self.add("constant", token.start, token.end, token.text[:-1] + '~"')
        elif token.kind == "word":
            self.constant([token])
            self.swapped_name([token], token, (token.start, token.end))

    def constant(self, items):
        """A named constant, one more and one less; one that is no number does not compile and goes."""
        last = items[-1]
        if is_word(last) and last.text.startswith("c_") and all(is_word(i) or i.text == "::" for i in items):
            span = (items[0].start, last.end)
            text = self.plain(*span)
            self.add("constant", *span, f"{text} + 1")
            self.add("constant", *span, f"{text} - 1")

    def virtual_call(self, items):
        """A call of the class's own implementation goes through the virtual table instead."""
        for i in range(len(items) - 3):
            if (is_word(items[i], "ProductGeometryObjects3D") and items[i + 1].text == "::" and
                    is_group(items[i + 3], "(")):
                start, end = items[0].start, items[-1].end
                whole = self.text[start:end]
                after = whole[:items[i].start - start] + whole[items[i + 1].end - start:]
                self.add("virtual call", start, end, " ".join(t.text for t in tokens_of(after)))

    def swapped_name(self, items, name, span):
        for pair in SWAPPED_NAMES:
            if name.text in pair:
                other = pair[1 - pair.index(name.text)]
                start = span[0]
                whole = self.text[start:span[1]]
                after = whole[:name.start - start] + other + whole[name.end - start:]
                self.add("swapped name", *span, " ".join(t.text for t in tokens_of(after)))

    def swapped_names(self, items, span):
        """In a statement as a whole, where the types of the two may differ: all occurrences of one of a pair."""
        text = self.plain(*span)
        for pair in (("uniqueLinks", "validatedLinks"), ("byMetaKey", "byGeometry"), ("byLink", "byMetaKey"),
                     ("first", "second")):
            for name, other in (pair, pair[::-1]):
                after = re.sub(rf"(?<![.\w>]){name}\b(?! \()", other, text)
                if after != text and not any(m.start <= span[0] and m.end >= span[1] - 1 and m.after + " ;" == after
                                             for m in self.mutants):
                    self.add("swapped name", *span, after, "statement")

    def arguments(self, group, may_swap):
        runs = [run for run in split(group.items, ",") if run]
        for run in runs:
            designated = len(run) > 2 and run[0].text == "." and run[2].text == "="
            self.initializer(run[3:] if designated else run)
        if not may_swap:
            return
        for left, right in zip(runs, runs[1:]):
            self.swap(group, left, right)

    def swap(self, group, left, right):
        owner = self.call_of(group)
        if owner is None:
            return
        start, end = owner
        a, b = (left[0].start, left[-1].end), (right[0].start, right[-1].end)
        after = (self.text[start:a[0]] + self.text[b[0]:b[1]] + self.text[a[1]:b[0]] + self.text[a[0]:a[1]] +
                 self.text[b[1]:end])
        self.add("swapped arguments", start, end, " ".join(t.text for t in tokens_of(after)))

    def call_of(self, group):
        """From the first letter of what is called to the closing bracket; None behind another call: `a().b(c, d)`."""
        start = group.start
        while start > 0 and (self.text[start - 1].isalnum() or self.text[start - 1] in "_:.>"):
            if self.text[start - 1] == ">":
                if self.text[start - 2] == "-":
                    start -= 2
                    continue
                depth = 0
                while True:
                    start -= 1
                    depth += {">": 1, "<": -1}.get(self.text[start], 0)
                    if depth == 0:
                        break
                continue
            start -= 1
        return (start, group.end) if re.match(r"[A-Za-z_]", self.text[start:group.start]) else None


# Rendering.

class Node:
    def __init__(self, start, end, form):
        self.start, self.end, self.form = start, end, form
        self.mutants, self.children = [], []


def render(text, mutants):
    """The mutated text; for each mutant the piece (begin, end) of it that chooses it; what could not be placed."""
    nodes = {}
    moves = {}
    for mutant in mutants:
        if mutant.form == "move":
            moves.setdefault(mutant.start, mutant)
            continue
        key = (mutant.start, mutant.end, mutant.form)
        nodes.setdefault(key, Node(*key)).mutants.append(mutant)
    for mutant in moves.values():
        nodes.setdefault((mutant.start, mutant.end, "statement"), Node(mutant.start, mutant.end, "statement"))
    moved_to = {}
    for mutant in moves.values():
        moved_to[mutant.target] = mutant
    root = Node(0, len(text), "file")
    stack = [root]
    ordered = sorted(nodes.values(), key=lambda n: (n.start, -n.end, n.form != "statement"))
    dropped = []
    for node in ordered:
        while stack[-1].end <= node.start:
            stack.pop()
        if node.end > stack[-1].end:  # crosses another: read wrongly
            dropped += node.mutants
            continue
        stack[-1].children.append(node)
        stack.append(node)
    out, pieces = [], []
    length = 0

    def put(part):
        nonlocal length
        out.append(part)
        length += len(part)

    def put_mutant(mutant, part):
        begin = length
        put(part)
        pieces.append((begin, length, mutant))

    def inside(node):
        position = node.start
        for child in node.children:
            put(text[position:child.start])
            write(child)
            position = child.end
        put(text[position:node.end])

    def write(node):
        move, target = moves.get(node.start), moved_to.get(node.start)
        if node.form == "expression":
            put("(")
            for mutant in node.mutants:
                put_mutant(mutant, f"qpd_mutant({mutant.number}) ? ({mutant.after}) : ")
            put("(")
            inside(node)
            put("))")
            return
        if target is not None:
            put_mutant(target, f"if (qpd_mutant({target.number})) {{ {target.before} }} ")
        for mutant in node.mutants:
            put_mutant(mutant, f"if (qpd_mutant({mutant.number})) {{ {mutant.after} }} else ")
        if move is not None:
            put_mutant(move, f"if (!qpd_mutant({move.number})) ")
        put("{ ")
        inside(node)
        put(" }")

    inside(root)
    return "".join(out), pieces, dropped


def mutants_of(files):
    """All of them, from file name to text, numbered from 1; headers first, so that a source renumbers no header."""
    result = []
    for file in sorted(files, key=lambda name: (name.endswith(".cpp"), name)):
        result += Source(file, files[file]).mutants
    for number, mutant in enumerate(result, 1):
        mutant.number = number
    return result
