"""The small changes: each is found in a scanned source and written so that it is chosen when the program runs."""

import re

from scan import ASSIGNMENTS, PRECEDENCE

EDGE = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "=="}
TURNED = {"<": ">", ">": "<", "<=": ">=", ">=": "<="}
ARITHMETIC = {"+": "-", "-": "+", "*": "/", "/": "*", "%": "*", "<<": ">>", ">>": "<<", "&": "|", "|": "&", "^": "|"}
COMPOUND = {"+=": "-=", "-=": "+=", "*=": "/=", "/=": "*=", "|=": "&=", "&=": "|=", "<<=": ">>=", ">>=": "<<="}
CALLS = {"min": "max", "max": "min", "upper_bound": "lower_bound", "lower_bound": "upper_bound", "front": "back",
         "back": "front", "any_of": "all_of", "all_of": "any_of", "pop_front": "pop_back", "push_back": None}
DECLARING = {"const", "auto", "static", "thread_local", "constexpr", "using", "typedef", "struct", "class", "enum",
             "union", "template", "friend", "unsigned", "signed", "int", "bool", "char", "long", "short", "void",
             "double", "float", "mutable", "inline", "virtual", "explicit", "extern", "public", "private", "protected"}
NO_EXPRESSION = {"if", "for", "while", "do", "switch", "case", "default", "goto", "try", "catch", "else", "delete",
                 "return", "throw", "break", "continue", "static_assert", "namespace"}
# Calls that only save time or memory.
SAVING = {"reserve", "shrink_to_fit"}
LOGICAL = ("<", "<=", ">", ">=", "==", "!=", "&&", "||", "<=>")


class Place:
    """One change: the text from start to end becomes what write(number, inner) gives, with the changes inside it."""

    def __init__(self, rule, start, end, before, after, write):
        self.rule, self.start, self.end, self.before, self.after, self.write = rule, start, end, before, after, write
        self.number = self.index = self.line = self.key = self.path = None


def short(text):
    text = re.sub(r"\s+", " ", text)
    return text if len(text) <= 70 else text[:67] + "..."


class Finder:
    def __init__(self, source):
        self.source = source
        self.tokens = source.tokens
        self.places = []
        self._fixed = self._fixed_ranges()

    def find(self):
        for index, token in enumerate(self.tokens):
            if self._is_fixed(token.start):
                continue
            self._operators(index, token)
            self._literals(index, token)
            self._calls(index, token)
            self._conditions(index, token)
            self._statements(index, token)
        return self.places

    def _add(self, rule, start, end, after, write=None):
        before = self.source.text[start:end]
        if write is None:
            def write(number, inner, after=after):
                return f"(qrxMutant({number}) ? {after} : {inner})"
        self.places.append(Place(rule, start, end, short(before), short(after), write))

    def _replace(self, rule, first, last, after):
        self._add(rule, self.tokens[first].start, self.tokens[last].end, after)

    def _fixed_ranges(self):
        """What the compiler computes: nothing there can be chosen at run time."""
        ranges = []
        for index, token in enumerate(self.tokens):
            if token.text in ("static_assert", "noexcept", "alignas", "decltype", "sizeof") or \
                    token.text == "constexpr" and self.tokens[index - 1].text == "if":
                opened = index + 1
                if self.tokens[opened].text == "(":
                    ranges.append((token.start, self.tokens[self.tokens[opened].match].end))
            elif token.text == "case":
                at = index
                while self.tokens[at].text != ":":
                    at += 1
                ranges.append((token.start, self.tokens[at].end))
            elif token.text == "constexpr" and self.tokens[index + 1].text != "(":
                end = self._end_of_constant(index)
                if end is not None:
                    ranges.append((token.start, self.tokens[end].end))
            elif token.text == "{" and token.scope == "enum":
                ranges.append((token.start, self.tokens[token.match].end))
            elif token.text == "template" and self.tokens[index + 1].text == "<":
                ranges.append((token.start, self._template_end(index + 1)))
        return ranges

    def _end_of_constant(self, index):
        """The end of `constexpr T name = value;`, nothing for a function."""
        at = index
        while self.tokens[at].text not in (";", "=", "{", "("):
            at += 1
        if self.tokens[at].text in ("(", ";"):
            return None
        while self.tokens[at].text != ";":
            at = self.tokens[at].match if self.tokens[at].text in ("(", "{", "[") else at
            at += 1
        return at

    def _template_end(self, index):
        depth = 0
        for token in self.tokens[index:]:
            depth += {"<": 1, ">": -1, ">>": -2}.get(token.text, 0)
            if depth <= 0:
                return token.end
        return self.tokens[index].end

    def _is_fixed(self, offset):
        return any(start <= offset < end for start, end in self._fixed)

    def _is_code(self, index):
        return self.source.scope_around(index) == "block"

    def _operators(self, index, token):
        if token.kind != "sign":
            return
        if token.role == "binary":
            self._binary(index, token.text)
        elif token.text in COMPOUND:
            self._statement_operator(index, COMPOUND[token.text])
        elif token.text in ("++", "--"):
            self._step(index, token.text)
        elif token.text == "!":
            self._not(index)

    def _binary(self, index, sign):
        first = self.source.left_extent(index, PRECEDENCE[sign])
        last = self.source.right_extent(index, PRECEDENCE[sign])
        if first >= index or last <= index:
            return
        left, right = self.source.between(first, index - 1), self.source.between(index + 1, last)
        if sign in EDGE:
            self._replace("relation", first, last, f"{left} {EDGE[sign]} {right}")
        if sign in TURNED and self.tokens[first - 1].text == "return" and self.tokens[last + 1].text == ";":
            self._replace("direction", first, last, f"{left} {TURNED[sign]} {right}")
        if sign in ARITHMETIC:
            self._replace("arithmetic", first, last, f"{left} {ARITHMETIC[sign]} {right}")
        if sign in ("&&", "||"):
            neutral = "true" if sign == "&&" else "false"
            self._drop(first, index - 1, neutral, sign, before=True)
            self._drop(index + 1, last, neutral, sign, before=False)

    def _drop(self, first, last, neutral, sign, before):
        """`a && b` without a, or without b; the left operand of a chain is taken apart by its own operator."""
        text = self.source.between(first, last)
        if before and any(mark.text == sign and mark.role == "binary" and mark.parent == self.tokens[last].parent
                          for mark in self.tokens[first:last + 1]):
            return

        def write(number, inner):
            return f"(qrxMutant({number}) ? {neutral} : static_cast<bool>({inner}))"

        self.places.append(Place("logic", self.tokens[first].start, self.tokens[last].end, short(text), neutral, write))

    def _statement_operator(self, index, other):
        first = self.source.left_extent(index, 0)
        end = index
        while self.tokens[end + 1].text not in (";", ")", ","):
            end = self.tokens[end + 1].match if self.tokens[end + 1].text in ("(", "[", "{") else end + 1
        left, right = self.source.between(first, index - 1), self.source.between(index + 1, end)
        self._replace("arithmetic", first, end, f"{left} {other} {right}")

    def _step(self, index, sign):
        other = "--" if sign == "++" else "++"
        after = self.tokens[index + 1]
        if after.kind == "name":
            last = index + 1
            while self.tokens[last + 1].text in (".", "->", "::") or self.tokens[last + 1].text in ("(", "["):
                last = self.tokens[last + 1].match if self.tokens[last + 1].text in ("(", "[") else last + 2
            self._replace("arithmetic", index, last, f"{other}{self.source.between(index + 1, last)}")
        elif self.tokens[index - 1].kind == "name":
            first = self.source.postfix_begin(index - 1)
            if first is not None:
                self._replace("arithmetic", first, index, f"{self.source.between(first, index - 1)}{other}")

    def _not(self, index):
        last = index + 1
        while last < len(self.tokens) and self.tokens[last].text in ("!", "*", "("):
            if self.tokens[last].text == "(":
                last = self.tokens[last].match
                break
            last += 1
        while last + 1 < len(self.tokens):
            after = self.tokens[last + 1]
            if after.text in (".", "->", "::"):
                last += 2
            elif after.text in ("(", "["):
                last = after.match
            elif after.text == "<" and after.role is None:
                end = self._template_end(last + 1)
                while self.tokens[last].end < end:
                    last += 1
            else:
                break
        self._replace("negation", index, last, f"static_cast<bool>({self.source.between(index + 1, last)})")

    def _literals(self, index, token):
        # A field's first value is nearly always replaced before anybody looks at it.
        if not self._is_code(index):
            return
        if token.text in ("true", "false"):
            self._replace("constant", index, index, "false" if token.text == "true" else "true")
        elif token.kind == "number" and not self._is_of_type(index):
            self._number(index, token.text)

    def _is_of_type(self, index):
        """A template's argument, or the bound of an array that is declared."""
        before, after = self.tokens[index - 1], self.tokens[index + 1]
        if before.text in ("<", ",") and before.role is None and after.text == ">" and after.role is None:
            return True
        return before.text == "[" and self.tokens[index - 2].kind == "name" and \
            (self.tokens[index - 3].kind == "name" or self.tokens[index - 3].text in ("*", ">"))

    def _number(self, index, text):
        found = re.fullmatch(r"(0[xX][0-9a-fA-F']+|0[bB][01']+|\d[\d']*)([uUlLzZ]*)", text)
        if not found:
            return
        digits = found.group(1).replace("'", "")
        value = int(digits, 8) if re.fullmatch(r"0[0-7]+", digits) else int(digits, 0)
        others = [1] if value == 0 else [value - 1, value + 1]
        for other in others:
            self._replace("constant", index, index, f"{other}{found.group(2)}")

    def _calls(self, index, token):
        other = CALLS.get(token.text)
        if token.kind != "name" or other is None or not self._is_code(index):
            return
        opened = index + 1
        if self.tokens[opened].text == "<" and self.tokens[opened].role is None:
            end = self._template_end(opened)
            while self.tokens[opened].start < end:
                opened += 1
        if self.tokens[opened].text != "(" or self.tokens[index - 1].text not in (".", "->", "::"):
            return
        first = self.source.postfix_begin(index)
        if first is None:
            return
        last = self.tokens[opened].match
        if self.tokens[last + 1].text in ASSIGNMENTS:
            return  # GCC 12 makes a wrong program of `(a ? b : c) = {d}`
        head = self.source.between(first, index - 1)
        tail = self.source.between(index + 1, last)
        self._replace("call", first, last, f"{head} {other} {tail}")

    def _conditions(self, index, token):
        if token.text in ("if", "while") and self.tokens[index + 1].text == "(":
            first, last = index + 2, self.tokens[index + 1].match - 1
            for at in range(first, last + 1):
                if self.tokens[at].text == ";" and self.tokens[at].parent == index + 1:
                    first = at + 1
            self._plain_condition(first, last, never=token.text == "while")
        elif token.text == "?":
            first = self.source.left_extent(index, 0)
            self._plain_condition(first, index - 1, never=False)

    def _plain_condition(self, first, last, never):
        """A condition without an operator of its own, which has a rule of its own."""
        if first > last or self.tokens[first].text == "!":
            return
        parent = self.tokens[first].parent
        here = [token for token in self.tokens[first:last + 1] if token.parent == parent]
        if any(token.role == "binary" and token.text in LOGICAL or token.text in ASSIGNMENTS for token in here):
            return
        text = self.source.between(first, last)
        after = "false" if never else f"!({text})"

        def write(number, inner):
            return f"(qrxMutant({number}) ? {after} : static_cast<bool>({inner}))"

        start, end = self.tokens[first].start, self.tokens[last].end
        self.places.append(Place("condition", start, end, short(text), short(after), write))

    def _statements(self, index, token):
        before = self.tokens[index - 1] if index > 0 else None
        if before is None or before.text not in (";", "{", "}", ":") or before.kind != "sign":
            return
        if before.text == "{" and before.scope != "block" or \
                before.text == "}" and self.tokens[before.match].scope == "list" or \
                before.text == ":" and not self._ends_label(index - 1):
            return
        if not self._is_code(index) or token.parent is None or self.tokens[token.parent].text != "{":
            return
        end = self._end_of_statement(index)
        if end is None:
            return
        if token.text == "return":
            self._return(index, end)
        elif token.text in ("break", "continue", "throw"):
            self._removal(index, end)
        elif self._is_expression(index, end):
            self._removal(index, end)

    def _ends_label(self, index):
        at = index - 1
        while at >= 0 and (self.tokens[at].kind == "name" or self.tokens[at].text == "::"):
            if self.tokens[at].text in ("case", "default"):
                return True
            at -= 1
        return False

    def _end_of_statement(self, index):
        at = index
        while at < len(self.tokens) and self.tokens[at].text != ";":
            if self.tokens[at].text == "}" and self.tokens[at].kind == "sign":
                return None
            at = self.tokens[at].match if self.tokens[at].text in ("(", "[", "{") and \
                self.tokens[at].kind == "sign" else at
            at += 1
        return at

    def _is_expression(self, index, end):
        if self.tokens[index].text in DECLARING | NO_EXPRESSION | {"["}:
            return False
        if self.tokens[index].text in ("++", "--", "*", "("):
            return True
        at = index
        while at < end:
            token = self.tokens[at]
            if token.kind == "sign" and token.text in ("(", "[") or token.text in ASSIGNMENTS or \
                    token.text in ("++", "--"):
                return True
            if token.text == "<" and token.role is None:
                skipped = self._template_end(at)
                while self.tokens[at].end < skipped:
                    at += 1
            following = self.tokens[at + 1]
            is_name = self.tokens[at].kind == "name" or self.tokens[at].text in (">", ">>", "*", "&", "&&")
            if is_name and following.kind == "name" or following.text in ("*", "&", "&&", "{"):
                return False
            at += 1
        return False

    def _removal(self, index, end):
        if any(token.text in SAVING for token in self.tokens[index:end]):
            return
        self._add("removal", self.tokens[index].start, self.tokens[end].end, "",
                  lambda number, inner: f"if (!qrxMutant({number})) {{ {inner} }}")

    def _return(self, index, end):
        if end == index + 1:
            self._removal(index, end)
            return
        value = self.source.between(index + 1, end - 1)
        if value in ("true", "false", "0", "nullptr", "std::nullopt", "kIOReturnSuccess") or value.startswith("{}"):
            return
        self._add("return", self.tokens[index].start, self.tokens[end].end, "return {};",
                  lambda number, inner: f"if (qrxMutant({number})) {{ return {{}}; }} {inner}")
