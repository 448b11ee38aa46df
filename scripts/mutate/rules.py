"""What a mutant is: one small change of a C++ source, found by rules over its tokens."""
import re
from collections.abc import Iterator
from dataclasses import dataclass

TOKEN = re.compile(
    r"""(?P<comment>//[^\n]*|/\*.*?\*/)
      | (?P<directive>^[ \t]*\#(?:\\\n|[^\n])*)
      | (?P<string>"(?:[^"\\\n]|\\.)*")
      | (?P<char>'(?:[^'\\\n]|\\.)+')
      | (?P<number>(?:0[xX][\da-fA-F.]+(?:[pP][+-]?\d+)?|\d[\d.]*(?:[eE][+-]?\d+)?)[uUlLfF]*)
      | (?P<name>[A-Za-z_]\w*)
      | (?P<operator><<=|>>=|::|->|\+\+|--|<<|>>|[<>=!+\-*/%&|^]=|&&|\|\||\S)""",
    re.VERBOSE | re.DOTALL | re.MULTILINE,
)

# The format sets blanks only around binary operators, so `<` and `*` of types are no matter here.
BINARY = {
    "<": ("<=", ">="), "<=": ("<", ">"), ">": (">=", "<="), ">=": (">", "<"),
    "==": ("!=",), "!=": ("==",), "&&": ("||",), "||": ("&&",),
    "+": ("-",), "-": ("+",), "*": ("/",), "/": ("*",), "%": ("/",), "|": ("&",),
    "+=": ("-=",), "-=": ("+=",), "*=": ("/=",), "|=": ("&=",),
}  # fmt: skip

# Names that are easily taken for each other: those of the language and of libraries, and ours.
FOREIGN_TWINS = [
    ("true", "false"), ("break", "continue"), ("min", "max"), ("lower_bound", "upper_bound"),
    ("floor", "ceil"), ("any_of", "none_of"), ("all_of", "none_of"),
    ("INTER_LINEAR", "INTER_NEAREST"), ("TESSMAR_LOG_DEBUG", "TESSMAR_LOG_INFO"),
    ("TESSMAR_LOG_INFO", "TESSMAR_LOG_ERROR"), ("kDebug", "kInfo"), ("kInfo", "kError"),
    ("debug", "info"), ("info", "err"),
]  # fmt: skip
TWINS = FOREIGN_TWINS + [
    ("first", "second"),
    ("width", "height"), ("kFrameWidth", "kFrameHeight"), ("rows", "cols"), ("rows", "columns"),
    ("x", "y"), ("x1", "x2"), ("y1", "y2"), ("x1", "y1"), ("x2", "y2"), ("px", "py"),
    ("top_and_bottom", "left_and_right"), ("left", "right"), ("upper", "lower"),
    ("red", "blue"), ("green", "blue"), ("b", "r"), ("g", "b"), ("low", "high"), ("kLow", "kHigh"),
    ("inputs", "outputs"), ("inputs_", "outputs_"), ("in", "out"), ("ours", "theirs"),
    ("input_sizes", "output_sizes"), ("input_shapes", "output_shapes"),
    ("input_types", "output_types"), ("input_memory_types", "output_memory_types"),
    ("dirty_seg_inputs_", "fece_inputs_"), ("dirty_seg_outputs_", "fece_outputs_"),
    ("dirty_seg_engine_", "fece_engine_"), ("dirty_seg_model_config", "fece_model_config"),
    ("fece_inputs_", "fece_outputs_"), ("fece_score_threshold", "fece_area_threshold"),
    ("kFeceInput", "kFeceOutput"), ("kFeceInputBytes", "kFeceOutputBytes"),
    ("bytes_needed", "bytes_available"), ("before", "after"), ("tv_sec", "tv_nsec"),
    ("source_step", "target_step"), ("mask_step", "canvas_step"), ("mask", "canvas"),
    ("l0", "l1"), ("e0", "e1"), ("p0", "p1"), ("half_width", "half_height"),
    ("predictions", "prototypes"), ("predictions_", "prototypes_"),
    ("predictions_type", "prototypes_type"), ("anchors", "classes"), ("classes", "coefficients"),
    ("channel_step", "anchor_step"), ("ToPatchX", "ToPatchY"), ("columns_", "rows_"),
    ("input_side", "proto_side"), ("score_threshold", "iou_threshold"),
    ("score_threshold", "mask_threshold"), ("batch", "height"), ("row", "column"),
    ("kAIFloat16", "kAIFloat32"), ("CV_16FC1", "CV_32F"), ("scaled", "length"),
    ("entry", "end"), ("size_", "scaled_"),
]  # fmt: skip
MEMBER_TWINS = [("width", "x"), ("height", "y")]

CONTROL = {"if", "for", "while", "switch", "else", "catch"}
NO_STATEMENT = {
    "using", "namespace", "struct", "class", "template", "typedef", "constexpr", "inline", "static",
    "static_assert", "case", "default", "public", "private", "friend", "enum",
}  # fmt: skip
OPENING = {"(": ")", "[": "]", "{": "}"}


@dataclass(frozen=True)
class Token:
    kind: str
    text: str
    start: int
    end: int


@dataclass(frozen=True)
class Mutant:
    """Replaces source[start:end] by `text`."""

    start: int
    end: int
    text: str


def tokens_of(source: str) -> list[Token]:
    """The tokens that the compiler sees; preprocessor directives and comments are left out."""
    return [
        Token(match.lastgroup or "", match.group(), match.start(), match.end())
        for match in TOKEN.finditer(source)
        if match.lastgroup not in ("comment", "directive")
    ]


def closers(tokens: list[Token]) -> dict[int, int]:
    """Index of each opening bracket -> index of its closing one."""
    pairs: dict[int, int] = {}
    stack: list[int] = []
    for i, token in enumerate(tokens):
        if token.text in OPENING:
            stack.append(i)
        elif token.text in OPENING.values():
            pairs[stack.pop()] = i
    return pairs


def replace(token: Token, text: str) -> Mutant:
    return Mutant(token.start, token.end, text)


def constants(token: Token) -> Iterator[Mutant]:
    if token.kind != "number":
        return
    digits = token.text.rstrip("uUlLfF") if token.text[:2].lower() != "0x" else token.text
    suffix = token.text[len(digits) :]
    if digits.isdigit():
        for value in (int(digits) + 1, int(digits) - 1):
            if value >= 0:
                yield replace(token, f"{value}{suffix}")
    else:  # a number of its own size, one beside it
        yield replace(token, f"({token.text} + 1)")
        yield replace(token, f"({token.text} * 1.01{suffix})")


def operators(source: str, token: Token) -> Iterator[Mutant]:
    is_binary = source[token.start - 1].isspace() and source[token.end : token.end + 1].isspace()
    if token.text in BINARY and is_binary:
        yield from (replace(token, other) for other in BINARY[token.text])
    elif token.text == "++" and not re.match(r"\w+[,)]", source[token.end :]):  # no loop's step
        yield replace(token, "--")
    elif token.text == "!" or (token.text == "-" and not source[token.end].isspace()):
        yield replace(token, "")


def texts(token: Token) -> Iterator[Mutant]:
    """Its first or last letter becomes another; what formats it, and escapes, stay."""
    if token.kind != "string":
        return
    letters = [
        match.start()
        for match in re.finditer(r"%\w|\\.|\{[^}]*\}|(?P<plain>[^\"])", token.text)
        if match.group("plain")
    ]
    if not letters:
        yield replace(token, '"?"')
        return
    for at in {letters[0], letters[-1]}:
        other = "y" if token.text[at] == "x" else "x"
        yield replace(token, token.text[:at] + other + token.text[at + 1 :])


def twins(source: str, token: Token, names: set[str]) -> Iterator[Mutant]:
    """`names` are those that the file uses: others would hardly compile."""
    is_member = source[token.start - 1] == "." or source[token.start - 2 : token.start] == "->"
    for pair in TWINS + (MEMBER_TWINS if is_member else []):
        if token.text in pair:
            other = pair[1 - pair.index(token.text)]
            if other in names or pair in FOREIGN_TWINS:
                yield replace(token, other)


def conditions(source: str, tokens: list[Token], pairs: dict[int, int]) -> Iterator[Mutant]:
    """Negates those that hold no operator which another rule changes."""
    changed = {"<", "<=", ">", ">=", "==", "!=", "&&", "||", "!", ";"}
    for i, token in enumerate(tokens[:-1]):
        if token.text != "if" or tokens[i + 1].text != "(":
            continue
        close = pairs[i + 1]
        if changed.isdisjoint(part.text for part in tokens[i + 2 : close]):
            start, end = tokens[i + 1].end, tokens[close].start
            yield Mutant(start, end, f"!({source[start:end]})")


def is_declaration(part: list[Token], source: str) -> bool:
    """Whether two names, or a type's mark and a name, are next to each other."""
    return any(
        right.kind == "name"
        and (left.kind == "name" or (left.text in ("&", "*", ">") and source[left.end] == " "
                                     and source[left.start - 1] != " "))
        for left, right in zip(part, part[1:])
        if left.text not in ("return", "throw", "else", "new", "delete")
    )  # fmt: skip


def arguments(tokens: list[Token], pairs: dict[int, int], opening: int) -> list[list[Token]]:
    parts: list[list[Token]] = [[]]
    i = opening + 1
    while i < pairs[opening]:
        if tokens[i].text == ",":
            parts.append([])
            i += 1
            continue
        end = pairs.get(i, i)
        parts[-1].extend(tokens[i : end + 1])
        i = end + 1
    return parts


def swaps(source: str, tokens: list[Token], pairs: dict[int, int]) -> Iterator[Mutant]:
    """Swaps neighbouring arguments, elements and operands of a function call or a list."""
    for opening in pairs:
        if tokens[opening].text == "[" or tokens[opening - 1].text in ("min", "max"):
            continue
        parts = arguments(tokens, pairs, opening)
        if len(parts) < 2 or not all(parts) or any(";" in [t.text for t in p] for p in parts):
            continue
        if any(is_declaration(part, source) for part in parts):
            continue
        for a, b in zip(parts, parts[1:]):
            left = source[a[0].start : a[-1].end]
            right = source[b[0].start : b[-1].end]
            if left != right:
                between = source[a[-1].end : b[0].start]
                yield Mutant(a[0].start, b[-1].end, right + between + left)


def is_block(tokens: list[Token], opening: int) -> bool:
    """Whether a brace holds statements: a function's, a control statement's, a lambda's."""
    if opening == 0 or tokens[opening].text != "{":
        return False
    return tokens[opening - 1].text in (")", "]", "else", "try", "const", "override")


def after_headers(tokens: list[Token], pairs: dict[int, int], i: int) -> int:
    """Steps over `if (...)`, `else`, `for (...)` in front of a statement."""
    while tokens[i].text in CONTROL:
        i += 1
        if tokens[i].text == "(":
            i = pairs[i] + 1
    return i


def drops(source: str, tokens: list[Token], pairs: dict[int, int]) -> Iterator[Mutant]:
    """Drops statements, but no declarations, and no `return` that a function ends with."""
    openings = {close: opening for opening, close in pairs.items()}
    for block in (i for i in pairs if is_block(tokens, i)):
        header = openings.get(block - 1, 0) - 1  # where the `if` of `if (...) {` is
        is_controlled = tokens[header].text in CONTROL or tokens[block - 1].text == "else"
        i = block + 1
        while i < pairs[block]:
            first = after_headers(tokens, pairs, i)
            if tokens[first].text == "{":
                i = pairs[first] + 1
                continue
            last = first
            while tokens[last].text != ";" and last < pairs[block]:
                last = pairs.get(last, last) + 1
            statement = tokens[first:last]
            must_stay = tokens[first].text == "return" and first == i and not is_controlled
            i = last + 1
            if not statement or must_stay or statement[0].text in NO_STATEMENT:
                continue
            if not is_declaration(statement, source):
                start, end = statement[0].start, statement[-1].end
                yield Mutant(start, end, "\n" * source.count("\n", start, end))


def reservations(tokens: list[Token], pairs: dict[int, int]) -> list[tuple[int, int]]:
    """Where room is made in advance: whatever is changed there costs only time."""
    return [
        (tokens[i - 2].start, tokens[pairs[i + 1]].end)
        for i, token in enumerate(tokens[:-1])
        if token.text == "reserve" and tokens[i + 1].text == "("
    ]


def mutants_of(source: str) -> list[Mutant]:
    """Every mutant of a source, in the order of their places."""
    tokens = tokens_of(source)
    pairs = closers(tokens)
    names = {token.text for token in tokens if token.kind == "name"}
    found: set[Mutant] = set()
    for token in tokens:
        found.update(constants(token))
        found.update(operators(source, token))
        found.update(texts(token))
        found.update(twins(source, token, names))
    found.update(conditions(source, tokens, pairs))
    found.update(swaps(source, tokens, pairs))
    found.update(drops(source, tokens, pairs))
    unseen = reservations(tokens, pairs)
    found = {
        mutant
        for mutant in found
        if not any(start <= mutant.start and mutant.end <= end for start, end in unseen)
    }
    return sorted(found, key=lambda mutant: (mutant.start, mutant.end, mutant.text))
