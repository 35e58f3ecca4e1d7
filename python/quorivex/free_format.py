# SPDX-License-Identifier: GPL-3.0-or-later
"""Numbers in free format, by the rules of the programs: separated by blanks, tabs, line ends or one
comma; `3*0.5` is three times 0.5; `/` ends a read; exponents with E, e, D or d, or with their sign
alone. A number uses its whole word and is finite."""

from __future__ import annotations

import math
import re
from collections.abc import Callable, Iterator
from functools import cache
from pathlib import Path
from typing import BinaryIO

import numpy as np
from numpy.typing import NDArray

from .errors import QuorivexError, fault, shown
from .text_files import open_text

_NUMBER = re.compile(r"([+-]?(?:\d+\.?\d*|\.\d+))(?:[eEdD]([+-]?\d+)|([+-]\d+))?", re.ASCII)
_WHOLE = re.compile(r"[+-]?\d+", re.ASCII)
_PIECE = re.compile(r"[^ \t\r\n,/]+|[,/]")
_PLAIN_TEXT = re.compile(rb"[0-9+\-.eE \t\r\n]*")
_PLAIN_NUMBER = r"([+-]?(?:\d+\.?\d*|\.\d+)(?:[eE][+-]?\d+)?)"
_FIRST_WORD = re.compile(rb"[ \t\r]*([^ \t\r\n]+)")
_BLOCK = 1 << 20
_LONGEST_WORD = 4096
_MAX_WHOLE = 2**31 - 1

Floats = NDArray[np.float64]


class Words:
    """The words of a text that is handed over piece by piece. A word that cannot be a number,
    nothing between two commas for instance, is ""; after it there is no more."""

    def __init__(self) -> None:
        self.comma_may_follow = False

    def of(self, text: str) -> Iterator[tuple[int, str, int]]:
        """How many times a word counts, the word, and where it begins."""
        for piece in _PIECE.finditer(text):
            word = piece.group()
            if word == "," and self.comma_may_follow:
                self.comma_may_follow = False
                continue
            if word in (",", "/"):
                yield 1, "", piece.start()
                return
            self.comma_may_follow = True
            count, star, value = word.partition("*")
            if not star:
                yield 1, word, piece.start()
            elif _WHOLE.fullmatch(count) and int(count[:20]) >= 1:
                yield int(count[:20]), value, piece.start()
            else:
                yield 1, "", piece.start()
                return


def number(word: str) -> float | None:
    """The number that is the whole word; nothing where it is none, or not finite."""
    match = _NUMBER.fullmatch(word) if len(word) <= _LONGEST_WORD else None
    if match is None:
        return None
    value = float(f"{match[1]}e{match[2] or match[3] or 0}")
    return value if math.isfinite(value) else None


def whole_number(word: str) -> int | None:
    """The same of an integer of 32 bits."""
    if len(word) > 30 or not _WHOLE.fullmatch(word):
        return None
    value = int(word)
    return value if -_MAX_WHOLE - 1 <= value <= _MAX_WHOLE else None


@cache
def _plain_line(count: int) -> re.Pattern[str]:
    words = r"[ \t]+".join([_PLAIN_NUMBER] * count)
    return re.compile(rf"[ \t]*{words}(?=[ \t]|$)", re.ASCII)


def line_numbers(text: str, count: int) -> list[float] | None:
    """The first `count` numbers of a line; nothing where there are fewer."""
    if plain := _plain_line(count).match(text):
        values = [float(word) for word in plain.groups()]
        return values if all(map(math.isfinite, values)) else None
    return line_values(text, *[number] * count)


def line_values(text: str, *parsers: Callable[[str], float | None]) -> list[float] | None:
    """The first values of a line, one for each parser (`number` or `whole_number`); nothing where
    one is missing."""
    found: list[float] = []
    for times, word, _ in Words().of(text):
        for parse in parsers[len(found):len(found) + times]:
            value = parse(word)
            if value is None:
                return None
            found.append(value)
        if len(found) == len(parsers):
            return found
    return None


def read_list(file: Path, count: int, what: str,
              parse: Callable[[str], float | None] = number) -> Floats:
    """Reads `count` numbers, any number per line. Memory follows the file, not the count."""
    found: list[Floats] = []
    left = count
    words = Words()
    line = 1
    with open_text(file) as opened:
        for block in _blocks(opened, file):
            values = _fast(block) if parse is number else None
            if values is None:
                values = _slow(file, block, words, parse, what, line, left)
            elif values.size > 0:
                words.comma_may_follow = True
            if values.size > left:
                raise fault(file, f"{count} {what}", "more")
            found.append(values)
            left -= values.size
            line += block.count(b"\n")
    if left > 0:
        raise fault(file, f"{count} {what}", f"{count - left}", line)
    return np.concatenate(found) if found else np.empty(0)


def read_first_of_lines(file: Path, count: int, what: str) -> Floats:
    """Reads the first number of each of `count` lines that are not blank."""
    found: list[float] = []
    with open_text(file) as opened:
        for line, raw in enumerate(opened, start=1):
            word = _FIRST_WORD.match(raw)
            if word is None:
                continue
            if len(found) == count:
                if line_numbers(raw.decode("latin-1"), 1) is not None:
                    raise fault(file, f"{count} {what}", "more", line)
                break
            values = line_numbers(raw[:_LONGEST_WORD].rstrip(b"\r\n").decode("latin-1"), 1)
            if values is None:
                raise _not_a_number(file, word[1], line)
            found += values
    if len(found) < count:
        raise fault(file, f"{count} {what}, one per line", f"{len(found)}")
    return np.array(found)


def _blocks(opened: BinaryIO, file: Path) -> Iterator[bytes]:
    """The text in blocks that end between two words."""
    rest = b""
    while block := opened.read(_BLOCK):
        block = rest + block
        end = max(block.rfind(blank) for blank in (b"\n", b" ", b"\t")) + 1
        rest = block[end:]
        if len(rest) > _LONGEST_WORD:
            raise _not_a_number(file, rest)
        yield block[:end]
    yield rest


def _fast(block: bytes) -> Floats | None:
    """The values of a block without anything unusual; nothing for another one."""
    if not _PLAIN_TEXT.fullmatch(block):
        return None
    try:
        values = np.array(list(map(float, block.split())))
    except ValueError:
        return None
    return values if bool(np.isfinite(values).all()) else None


def _slow(file: Path, block: bytes, words: Words, parse: Callable[[str], float | None], what: str,
          line: int, left: int) -> Floats:
    """The values of a block, at most one more than are `left`. What follows the last value that is
    wanted may be anything but a number."""
    values: list[Floats] = []
    text = block.decode("latin-1")
    for times, word, begins in words.of(text):
        value = parse(word)
        if value is None and left == 0:
            break
        if value is None:
            raise _not_a_number(file, word.encode("latin-1"), line + text.count("\n", 0, begins),
                                what)
        values.append(np.full(min(times, left + 1), float(value)))
        left -= values[-1].size
        if left < 0:
            break
    return np.concatenate(values) if values else np.empty(0)


def _not_a_number(file: Path, word: bytes, line: int | None = None,
                  what: str = "") -> QuorivexError:
    expected = f"a number of the {what}" if what else "a number"
    return fault(file, expected, shown(word[:_LONGEST_WORD].decode("latin-1")) if word else
                 "an empty value", line)
