"""C++ as a list of tokens: comments, strings and preprocessor lines are told apart from code."""

import re
from dataclasses import dataclass

_KINDS = re.compile(r"""
    (?P<space>\s+)
  | (?P<comment>//[^\n]*|/\*.*?\*/)
  | (?P<directive>\#(?:\\\n|[^\n])*)
  | (?P<string>(?:u8|[uUL])?(?:R"(?P<end>[^()\s]*)\(.*?\)(?P=end)"|"(?:\\.|[^"\\])*"))
  | (?P<character>(?:u8|[uUL])?'(?:\\.|[^'\\])+')
  | (?P<number>\.?\d(?:'?[\w.]|[eEpP][+-])*)
  | (?P<word>[A-Za-z_]\w*)
  | (?P<sign><<=|>>=|\.\.\.|->\*|::|->|\+\+|--|<<|>>|<=|>=|==|!=|&&|\|\||[-+*/%&|^]=|.)
""", re.VERBOSE | re.DOTALL)

_OPENING = {"(": ")", "[": "]", "{": "}"}


@dataclass(frozen=True)
class Token:
    kind: str
    text: str
    begin: int
    end: int
    is_spaced: bool  # white space on both sides: what clang-format puts round a binary operator


class Source:
    """The code tokens of a text, each with the bracket that closes it and the function body that it is in."""

    def __init__(self, text):
        self.text = text
        self.tokens = list(_code_of(text))
        self.partners = self._pair_brackets()
        self.blocks = self._find_blocks()
        self.bodies = self._find_bodies()

    def between(self, first, last):
        """The text from a token to another, both included."""
        return self.text[self.tokens[first].begin:self.tokens[last].end]

    def line_of(self, offset):
        return self.text.count("\n", 0, offset) + 1

    def end_of_part(self, at, stops):
        """The first token from here, outside any bracket that opens on the way, whose text is a stop."""
        while at < len(self.tokens) and self.tokens[at].text not in stops:
            at = self.partners.get(at, at) + 1 if self.tokens[at].text in _OPENING else at + 1
        return at

    def owner_of(self, closing):
        """The word before the bracket that this token closes: the "if" of "if (a)"."""
        if self.tokens[closing].text != ")" or self.partners.get(closing, 0) == 0:
            return ""
        return self.tokens[self.partners[closing] - 1].text

    def is_reservation(self, at):
        """Whether a token is on a line that only asks for memory in advance."""
        begin = self.text.rfind("\n", 0, self.tokens[at].begin)
        return "eserve(" in self.text[begin:self.text.find("\n", begin + 1)]

    def _find_blocks(self):
        """For each token, the innermost bracket around it, or None."""
        blocks, opened = [], []
        for at, token in enumerate(self.tokens):
            if token.text in _OPENING.values() and opened:
                opened.pop()
            blocks.append(opened[-1] if opened else None)
            if token.text in _OPENING:
                opened.append(at)
        return blocks

    def _pair_brackets(self):
        partners, opened = {}, []
        for at, token in enumerate(self.tokens):
            if token.text in _OPENING:
                opened.append(at)
            elif token.text in _OPENING.values() and opened:
                partners[opened[-1]] = at
                partners[at] = opened.pop()
        return partners

    def _find_bodies(self):
        """Which tokens are within a function: for each, the brace that opens its outermost body, or None."""
        bodies, head, body_end, body = [], 0, -1, None
        for at, token in enumerate(self.tokens):
            if at > body_end:
                body = None
                if token.text == "{" and self._is_function(head, at):
                    body, body_end = at, self.partners.get(at, at)
                if token.text in (";", "{", "}"):
                    head = at + 1
            bodies.append(body)
        return bodies

    def _is_function(self, head, brace):
        words = [token.text for token in self.tokens[head:brace]]
        if not words or {"namespace", "enum", "="} & set(words[:1] + words[-1:]):
            return False
        is_class = {"class", "struct", "union"} & set(words) and "(" not in words
        return "(" in words and not is_class


def _code_of(text):
    for match in _KINDS.finditer(text):
        if match.lastgroup in ("space", "comment", "directive"):
            continue
        kind = "string" if match.lastgroup == "end" else match.lastgroup
        begin, end = match.span()
        is_spaced = text[begin - 1:begin].isspace() and text[end:end + 1].isspace()
        yield Token(kind, match.group(), begin, end, is_spaced)
