#!/usr/bin/env python3
"""Makes trace.jsonl: one person types a message on a pinyin pad of 26 keys, on a screen of 1080 by 2400 pixels.

The touches are simulated: normally distributed around a point a little below and to the right of a key's middle, about 200 ms
apart, with a longer pause after each word. The same seed gives the same file.
"""

import json
import pathlib
import random

PAD = (0, 1650, 1080, 2334)
ROW, CELL, GAP = 171, 108, 6  # a row's height, the width of a letter's cell, half the space between two keys; in pixels
SPACE, DELETE, ENTER, SHIFT, DIGITS, LANGUAGE = 32, 8, 13, 0x21E7, 0x23, 0x4E2D

WORDS = [("今天下午", "jintianxiawu"), ("三点", "sandian"), ("我们一起", "womenyiqi"), ("去图书馆", "qutushuguan"),
         ("看书吧", "kanshuba")]


def row_of(y, x, cells):
    """Key records of one row; `cells` are (id, width) from left to right, with the id 0 for a gap."""
    keys = []
    for key, width in cells:
        if key:
            keys.append({"key_rect": [x + GAP, y + GAP, x + width - GAP, y + ROW - GAP], "id": key})
        x += width
    return keys


def pinyin_pad():
    letters = [[(ord(c), CELL) for c in row] for row in ("qwertyuiop", "asdfghjkl", "zxcvbnm")]
    rows = [letters[0], [(0, CELL // 2), *letters[1]], [(SHIFT, 162), *letters[2], (DELETE, 162)],
            [(DIGITS, 162), (LANGUAGE, 108), (ord("，"), 108), (SPACE, 378), (ord("。"), 108), (ENTER, 216)]]
    return [key for i, row in enumerate(rows) for key in row_of(PAD[1] + i * ROW, PAD[0], row)]


def typed(rng, keys, clock, code):
    """Times (ms) and points of one word's touches, and the time at which the next word begins."""
    middles = {chr(k["id"]): ((k["key_rect"][0] + k["key_rect"][2]) / 2, (k["key_rect"][1] + k["key_rect"][3]) / 2)
               for k in keys}
    times, points = [], []
    for letter in code:
        x, y = middles[letter]
        times.append(round(clock))
        points.append([round(rng.gauss(x + 5, 19)), round(rng.gauss(y + 12, 24))])
        clock += 90 + rng.lognormvariate(4.6, 0.45)
    return times, points, clock + rng.uniform(500, 900)


def records():
    rng = random.Random(26)
    keys, clock, before = pinyin_pad(), 51_204_310.0, ""
    yield {"type": "switchPad", "pad_name": "PY26", "time": round(clock)}
    yield {"type": "setLayout", "pad_rect": list(PAD), "key_array": keys}
    clock += 1350
    for text, code in WORDS:
        times, points, clock = typed(rng, keys, clock, code)
        yield {"type": "inputSelection", "expect": text, "preWord": before, "aftWord": "", "app_name": "com.tencent.mm",
               "attribute": 0, "where_from": 0, "time": times, "code": code, "point": points}
        before = text


if __name__ == "__main__":
    lines = [json.dumps(record, ensure_ascii=False, separators=(",", ":")) for record in records()]
    pathlib.Path(__file__).with_name("trace.jsonl").write_text("\n".join(lines) + "\n", encoding="utf-8")
