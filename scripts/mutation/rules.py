"""The rules that make faults: each looks at one place of a source and offers other texts for it."""

from dataclasses import dataclass

from tokens import Source

_OTHER_OPERATOR = {
    "<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "==", "&&": "||", "||": "&&", "+": "-",
    "-": "+", "*": "/", "/": "*", "%": "/", "&": "|", "|": "&", "+=": "-=", "-=": "+="}

_OTHER_WORD = {
    "true": "false", "false": "true", "min": "max", "max": "min", "front": "back", "back": "front",
    "first": "second", "second": "first", "push_back": "push_front", "push_front": "push_back",
    "lower_bound": "upper_bound", "upper_bound": "lower_bound", "all_of": "any_of", "any_of": "all_of",
    "startsWith": "contains", "endsWith": "contains", "append": "prepend", "prepend": "append",
    "emplace": "insert_or_assign", "insert_or_assign": "emplace", "break": "continue", "continue": "break",
    "Success": "Error", "Error": "Success", "Canceled": "Error"}

# Steps of a chain of calls that are easily forgotten, and whose result has the type of what came in.
_STEPS = {"trimmed", "simplified", "toLower", "toUpper", "toUTC", "toLocalTime", "normalized", "filename",
          "parent_path", "lexically_normal", "absolutePath"}

_NO_STATEMENT = {
    "auto", "bool", "case", "catch", "char", "class", "const", "constexpr", "default", "delete", "do", "double",
    "else", "enum", "explicit", "for", "friend", "goto", "if", "int", "long", "namespace", "operator", "private",
    "protected", "public", "return", "short", "static", "static_assert", "struct", "switch", "template", "try",
    "typedef", "typename", "union", "unsigned", "using", "virtual", "void", "while"}

_NOTHING = {"{}", "true", "false", "nullptr", "std::nullopt", "0", "*this"}

_TESTS = {"if", "for", "while"}

_ENDS_OF_OPERAND = {"&&", "||", "?", ":", ";", ",", ")", "]", "}"}


@dataclass(frozen=True)
class Fault:
    rule: str
    line: int
    begin: int
    end: int
    text: str  # what stands there instead

    def put_into(self, source):
        return source[:self.begin] + self.text + source[self.end:]


def faults_of(text):
    """Every fault that the rules make of a source, in its order, no two with the same result."""
    source = Source(text)
    seen, found = set(), []
    for at in range(len(source.tokens)):
        if source.is_reservation(at):
            continue
        for rule in _RULES:
            for name, first, last, replacement in rule(source, at):
                begin, end = source.tokens[first].begin, source.tokens[last].end
                if (begin, end, replacement) not in seen and text[begin:end] != replacement:
                    seen.add((begin, end, replacement))
                    found.append(Fault(name, source.line_of(begin), begin, end, replacement))
    return found


def _negate_condition(source, at):
    tokens = source.tokens
    if tokens[at].text not in ("if", "while") or tokens[at + 1].text != "(":
        return
    first, last = at + 2, source.partners[at + 1] - 1
    after_declaration = source.end_of_part(first, {";"})
    if after_declaration < last:
        first = after_declaration + 1
    is_made_elsewhere = {"&&", "||", "==", "!="} & {token.text for token in tokens[first:last + 1]}
    if source.end_of_part(first, {"="}) > last and tokens[first].text != "!" and not is_made_elsewhere:
        yield "negate condition", first, last, f"!({source.between(first, last)})"


def _exchange_operator(source, at):
    token = source.tokens[at]
    if token.is_spaced and token.text in _OTHER_OPERATOR and source.bodies[at] is not None:
        neighbours = {source.tokens[at - 1].kind, source.tokens[at + 1].kind}
        if token.text[0] not in "+-" or not neighbours & {"string", "character"}:
            yield "exchange operator", at, at, _OTHER_OPERATOR[token.text]


def _drop_operand(source, at):
    """Forgets one of several conditions."""
    token = source.tokens[at]
    if not token.is_spaced or token.text not in ("&&", "||"):
        return
    yield "drop condition", at, source.end_of_part(at + 1, _ENDS_OF_OPERAND) - 1, ""
    first = _begin_of_operand(source, at)
    if source.tokens[first - 1].text in ("(", "return", "=", "{"):
        yield "drop condition", first, at, ""


def _begin_of_operand(source, at):
    while at > 0 and source.tokens[at - 1].text not in _ENDS_OF_OPERAND | {"(", "[", "{", "return", "="}:
        at -= 1
        if source.tokens[at].text == ")":
            at = source.partners[at]
    while source.tokens[at - 1].text in (")", "]"):
        at = _begin_of_operand(source, source.partners[at - 1])
    return at


def _drop_negation(source, at):
    if source.tokens[at].text == "!":
        yield "drop negation", at, at, ""


def _drop_statement(source, at):
    if source.bodies[at] is None or at in (0, source.bodies[at]) or not _begins_statement(source, at):
        return
    last = source.end_of_part(at, {";", ")", "]", "}"})
    if last < len(source.tokens) and source.tokens[last].text == ";":
        yield "drop statement", at, last, ";"


def _begins_statement(source, at):
    token, block = source.tokens[at], source.blocks[at]
    is_after_test = source.owner_of(at - 1) in _TESTS
    if not is_after_test and source.tokens[at - 1].text not in (";", "{", "}", "else", "do"):
        return False
    if block is None or source.tokens[block].text != "{":  # in the head of a for
        return False
    if token.text == "return":  # only an early one can be missing
        return is_after_test or source.owner_of(block - 1) in _TESTS or source.tokens[block - 1].text == "else"
    if token.text in ("++", "--", "*", "("):
        return True
    return token.kind == "word" and token.text not in _NO_STATEMENT and not _is_declaration(source, at)


def _is_declaration(source, at):
    """Two words side by side, or one after the > of a template, a * or an &: a type and a name."""
    last = source.end_of_part(at, {";", "=", "(", "{"})
    pairs = zip(source.tokens[at:last], source.tokens[at + 1:last])
    if source.tokens[at].text in ("throw", "co_return", "Q_EMIT", "break", "continue"):
        return False
    return any(right.kind == "word" and (left.kind == "word" or left.text in (">", "*", "&"))
               for left, right in pairs)


def _return_nothing(source, at):
    if source.tokens[at].text != "return" or source.bodies[at] is None:
        return
    last = source.end_of_part(at, {";"}) - 1
    value = source.between(at + 1, last) if last > at else ""
    if last > at and value not in _NOTHING and not value.endswith("()"):
        yield "return nothing", at + 1, last, "{}"


def _exchange_branches(source, at):
    if source.tokens[at].text != "?":
        return
    colon = source.end_of_part(at + 1, {":", ";"})
    last = source.end_of_part(colon + 1, {";", ",", ")", "}", "]"}) - 1
    if source.tokens[colon].text == ":" and last > colon:
        left, right = source.between(at + 1, colon - 1), source.between(colon + 1, last)
        yield "exchange branches", at + 1, last, f"{right} : {left}"


def _change_number(source, at):
    token = source.tokens[at]
    if token.kind != "number":
        return
    digits = token.text.rstrip("uUlLfF") if not token.text.lower().startswith("0x") else token.text
    try:
        value = int(digits.replace("'", ""), 0)
    except ValueError:
        return
    if value < 1000:  # larger ones are sizes and times, and hardly ever meant to the last digit
        yield "change number", at, at, f"{value + 1}{token.text[len(digits):]}"


def _exchange_word(source, at):
    token = source.tokens[at]
    is_member = token.text not in ("first", "second") or source.tokens[at - 1].text in (".", "->")
    if token.kind == "word" and token.text in _OTHER_WORD and is_member and source.bodies[at] is not None:
        yield "exchange word", at, at, _OTHER_WORD[token.text]


def _drop_step(source, at):
    tokens = source.tokens
    if tokens[at].text == "." and tokens[at + 1].text in _STEPS and tokens[at + 2].text == "(" \
            and source.partners[at + 2] == at + 3:
        yield "drop step", at, at + 3, ""


def _swap_arguments(source, at):
    callee = source.tokens[at - 1]
    if source.tokens[at].text != "(" or callee.kind != "word" or source.bodies[at] is None:
        return
    if callee.text in ("max", "min", "qMax", "qMin"):
        return
    end = source.partners.get(at, at)
    comma = source.end_of_part(at + 1, {","})
    while comma < end:
        begin = _begin_of_argument(source, at, comma)
        last = source.end_of_part(comma + 1, {",", ")"}) - 1
        left, right = source.between(begin, comma - 1), source.between(comma + 1, last)
        if _is_plain(left) and _is_plain(right) and "end()" not in left + right:
            yield "swap arguments", begin, last, f"{right}, {left}"
        comma = source.end_of_part(comma + 1, {","}) if last + 1 < end else end


def _begin_of_argument(source, opening, comma):
    begin = opening + 1
    while (after := source.end_of_part(begin, {","})) < comma:
        begin = after + 1
    return begin


def _is_plain(text):
    return text.replace("::", "").replace(".", "").replace("->", "").replace("()", "").replace("*", "").isidentifier()


_RULES = (_negate_condition, _exchange_operator, _drop_operand, _drop_negation, _drop_statement, _return_nothing,
          _exchange_branches, _change_number, _exchange_word, _drop_step, _swap_arguments)
