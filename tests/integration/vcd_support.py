"""A reader of value change dumps, as strict as their grammar."""

import re
from dataclasses import dataclass, field


@dataclass
class Dump:
    """A dump of one-bit wires."""
    timescale: str = ""
    names: list = field(default_factory=list)
    initial: dict = field(default_factory=dict)
    """Name -> value at the time 0."""
    changes: list = field(default_factory=list)
    """(time, name, value) each."""
    end: int = 0
    """The last time."""

    def values(self, name):
        """What that wire goes through."""
        return "".join([self.initial[name], *(
            value for _, changed, value in self.changes if changed == name)])


def _sections(words):
    """(keyword, words up to its $end) of the declarations, from words."""
    for word in words:
        assert re.fullmatch(r"\$[a-z]+", word), word
        inside = []
        for text in words:
            if text == "$end":
                break
            inside.append(text)
        else:
            raise AssertionError(f"{word} without an end")
        yield word, inside
        if word == "$enddefinitions":
            return


def _declared(dump, words):
    """Identifier code -> name."""
    codes = {}
    scopes = []
    for keyword, inside in _sections(words):
        if keyword == "$timescale":
            dump.timescale = " ".join(inside)
        elif keyword == "$scope":
            kind, name = inside
            assert kind == "module"
            scopes.append(name)
        elif keyword == "$upscope":
            scopes.pop()
        elif keyword == "$var":
            kind, size, code, name = inside
            assert (kind, size) == ("wire", "1") and scopes
            assert re.fullmatch("[!-~]+", code) and code not in codes
            assert re.fullmatch(r"[A-Za-z_][A-Za-z0-9_$]*", name)
            codes[code] = name
        else:
            assert keyword in ("$date", "$version", "$comment",
                               "$enddefinitions"), keyword
    assert not scopes and len(set(codes.values())) == len(codes)
    dump.names = list(codes.values())
    return codes


def parse(text):
    """What is in a dump; fails where a reader would."""
    assert text.endswith("\n"), text[-80:]
    dump = Dump()
    words = iter(text.split())
    codes = _declared(dump, words)
    assert next(words) == "#0"
    assert next(words) == "$dumpvars"
    for word in words:
        if word == "$end":
            break
        assert word[0] in "01xz", word
        dump.initial[codes[word[1:]]] = word[0]
    assert list(dump.initial) == dump.names
    for word in words:
        if word[0] == "#":
            assert int(word[1:]) > dump.end, word
            dump.end = int(word[1:])
        else:
            assert word[0] in "01xz", word
            dump.changes.append((dump.end, codes[word[1:]], word[0]))
    return dump
