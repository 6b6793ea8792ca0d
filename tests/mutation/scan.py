"""A C++ source as tokens with their brackets, and which braces hold statements.

Not a parser: it relies on the project's formatting (a binary operator stands between spaces, a template's bracket and
a unary operator do not; every branch has braces). What it takes for something else than it is does not compile once it
is rewritten, and is dropped then.
"""

import re

TOKEN = re.compile(r"""
    (?P<comment>//[^\n]*|/\*.*?\*/)
  | (?P<directive>^[ \t]*\#(?:[^\n]|\\\n)*)
  | (?P<string>(?:u8|[uUL])?R"(?P<tag>[^(]*)\(.*?\)(?P=tag)"|(?:u8|[uUL])?"(?:\\.|[^"\\\n])*"|'(?:\\.|[^'\\\n])+')
  | (?P<number>\.?\d(?:'?[\w.]|(?<=[eE])[+-])*)
  | (?P<name>[A-Za-z_]\w*)
  | (?P<sign><=>|<<=|>>=|->\*|\.\.\.|::|->|\+\+|--|<<|>>|<=|>=|==|!=|&&|\|\||[-+*/%&|^]=|[^\s\w])
""", re.VERBOSE | re.DOTALL | re.MULTILINE)

OPENING = {"(": ")", "[": "]", "{": "}"}
CLOSING = {")", "]", "}"}

# Binary operators by how tightly they bind.
PRECEDENCE = {"*": 11, "/": 11, "%": 11, "+": 10, "-": 10, "<<": 9, ">>": 9, "<=>": 8, "<": 7, "<=": 7, ">": 7,
              ">=": 7, "==": 6, "!=": 6, "&": 5, "^": 4, "|": 3, "&&": 2, "||": 1}
ASSIGNMENTS = {"=", "+=", "-=", "*=", "/=", "%=", "&=", "|=", "^=", "<<=", ">>="}
STOPS = {";", ",", "?", ":"} | ASSIGNMENTS
LEFT_STOP_WORDS = {"return", "throw", "case", "else", "do", "in"}


class Token:
    __slots__ = ("kind", "text", "start", "end", "is_spaced", "match", "scope", "role", "parent")

    def __init__(self, kind, text, start, end, is_spaced):
        self.kind, self.text, self.start, self.end, self.is_spaced = kind, text, start, end, is_spaced
        self.match = None   # the other bracket's index
        self.scope = None   # of a brace that opens: "block", "class", "namespace", "enum", "list"
        self.role = None    # "binary" for a binary operator
        self.parent = None  # the index of the innermost bracket that is open here

    def __repr__(self):
        return f"{self.text!r}"


class Source:
    def __init__(self, text):
        self.text = text
        self.tokens = tokenize(text)
        self._match_brackets()
        self._classify_braces()

    def _match_brackets(self):
        open_brackets = []
        for index, token in enumerate(self.tokens):
            if token.text in CLOSING and token.kind == "sign":
                opened = open_brackets.pop()
                token.match, self.tokens[opened].match = opened, index
            token.parent = open_brackets[-1] if open_brackets else None
            if token.text in OPENING and token.kind == "sign":
                open_brackets.append(index)

    def _classify_braces(self):
        for index, token in enumerate(self.tokens):
            if token.text == "{" and token.kind == "sign":
                token.scope = self._scope_of(index)

    def _scope_of(self, index):
        outer = self.scope_around(index)
        before = self.tokens[index - 1]
        head = self._head_of(index)
        words = [token.text for token in head]
        if outer == "block" and self.tokens[index].parent is not None and \
                self.tokens[self.tokens[index].parent].text != "{":
            # Within the parentheses of an expression: the body of a lambda or a list.
            return "block" if self._ends_lambda_head(index) else "list"
        if "enum" in words:
            return "enum"
        if "namespace" in words or words[:1] == ["extern"] and len(words) == 2:
            return "namespace"
        is_type = any(word in ("class", "struct", "union") for word in words) and "(" not in words and "=" not in words
        if is_type:
            return "class"
        if outer == "block":
            is_block = before.text in (")", "{", "}", ";", ":", "else", "do", "try") and before.role != "binary"
            return "block" if is_block or self._ends_lambda_head(index) else "list"
        if self._ends_lambda_head(index):
            return "block"
        if "(" not in words or "=" in words:
            return "list"
        if ":" in words and before.kind == "name" and before.text not in ("const", "noexcept", "override", "final"):
            return "list"  # `: _field{value}`
        return "block"

    def _ends_lambda_head(self, index):
        at = index - 1
        while at >= 0 and (self.tokens[at].kind == "name" or self.tokens[at].text in ("::", "->", "*", "&", "<", ">")):
            at -= 1
        if self.tokens[at].text == ")":
            at = self.tokens[at].match - 1
        return at >= 0 and self.tokens[at].text == "]"

    def _head_of(self, index):
        """The tokens from the end of what stands before to this brace; what is in brackets left out."""
        head = []
        at = index - 1
        while at >= 0:
            token = self.tokens[at]
            if token.kind == "sign" and token.text in (";", "{"):
                break
            if token.text == "}" and token.kind == "sign" and self.tokens[token.match].scope != "list":
                break
            if token.text == ":" and at > 0 and self.tokens[at - 1].text in ("public", "private", "protected"):
                break
            if token.kind == "sign" and token.text in OPENING:
                break
            head.append(token)
            if token.kind == "sign" and token.text in CLOSING:
                at = token.match
                head.append(self.tokens[at])
            at -= 1
        return head[::-1]

    def scope_around(self, index):
        """The kind of the innermost brace around a token; a list and parentheses belong to what is around them."""
        at = self.tokens[index].parent
        while at is not None:
            token = self.tokens[at]
            if token.text == "{" and token.scope not in (None, "list"):
                return token.scope
            at = token.parent
        return "namespace"

    def left_extent(self, index, precedence):
        """Where the left operand begins of an operator that binds as given."""
        at = index - 1
        begin = index
        while at >= 0:
            token = self.tokens[at]
            if token.kind == "sign":
                if token.text in CLOSING:
                    if token.text == "}" and self.tokens[token.match].scope != "list":
                        break
                    at = token.match
                elif token.text in OPENING or token.text in STOPS:
                    break
                elif token.role == "binary" and PRECEDENCE[token.text] < precedence:
                    break
            elif token.kind == "name" and token.text in LEFT_STOP_WORDS:
                break
            begin = at
            at -= 1
        return begin

    def right_extent(self, index, precedence):
        """The last token of the right operand of such an operator."""
        at = index + 1
        end = index
        while at < len(self.tokens):
            token = self.tokens[at]
            if token.kind == "sign":
                if token.text in OPENING:
                    at = token.match
                elif token.text in CLOSING or token.text in STOPS:
                    break
                elif token.role == "binary" and PRECEDENCE[token.text] <= precedence:
                    break
            end = at
            at += 1
        return end

    def postfix_begin(self, index):
        """Where the expression begins whose last name is at index: `a.b(c)->name`."""
        at = index
        while at > 0 and self.tokens[at - 1].text in (".", "->", "::"):
            at -= 2
            while at >= 0 and self.tokens[at].text in (")", "]"):
                at = self.tokens[at].match - 1
                if self.tokens[at].text == ">":
                    return None
            if at < 0 or self.tokens[at].kind != "name":
                return None
        return at

    def between(self, first, last):
        """The code of these tokens on one line, without comments."""
        pieces = [self.tokens[first].text]
        for before, token in zip(self.tokens[first:last], self.tokens[first + 1:last + 1]):
            pieces.append(" " + token.text if token.start > before.end else token.text)
        return "".join(pieces)


def tokenize(text):
    tokens = []
    for found in TOKEN.finditer(text):
        kind = found.lastgroup if found.lastgroup != "tag" else "string"
        if kind in ("comment", "directive"):
            continue
        start, end = found.span()
        is_spaced = start > 0 and text[start - 1].isspace() and end < len(text) and text[end].isspace()
        tokens.append(Token(kind, found.group(), start, end, is_spaced))
    for before, token in zip(tokens, tokens[1:]):
        is_operand_before = before.kind != "sign" or before.text in (")", "]", "}")
        if token.kind == "sign" and token.text in PRECEDENCE and token.is_spaced and is_operand_before and \
                before.text != "operator":
            token.role = "binary"
    return tokens
