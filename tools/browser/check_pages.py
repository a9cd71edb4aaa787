#!/usr/bin/env python3
"""Uses pages of `zentactl trace --html` in headless Chromium as a person would, and checks what they show.

usage: check_pages.py ZENTACTL FOLDER

Leaves the traces, the pages and pictures of them in FOLDER. Prints a line for each claim; exits with 1 if any fails.
"""

import json
import pathlib
import random
import subprocess
import sys
import time

from webdriver import Browser

sys.path.append(str(pathlib.Path(__file__).parents[2] / "examples"))
import make_trace  # noqa: E402: its folder has to be in sys.path first

ESCAPE, BACKSPACE, ARROW_RIGHT, ARROW_DOWN = "\ue00c", "\ue003", "\ue014", "\ue015"  # WebDriver's codes for keys

failures = []


def claim(what, good, saw=""):
    print(f"  {'ok ' if good else 'NOT'}  {what}" + ("" if good else f"; saw: {saw!r}"), flush=True)
    if not good:
        failures.append(what)


# ---- Traces

KEYS = make_trace.pinyin_pad()


def inputs(rng, touches, clock=1000.0, keys=KEYS):
    """Records of inputs with at least `touches` touches in all; the words are drawn from the example's."""
    while touches > 0:
        text, code = rng.choice(make_trace.WORDS)
        times, points, clock = make_trace.typed(rng, keys, clock, code)
        touches -= len(points)
        yield {"type": "inputSelection", "expect": text, "time": times, "code": code, "point": points}


def pad(name, rect, keys):
    yield {"type": "switchPad", "pad_name": name, "time": 0}
    yield {"type": "setLayout", "pad_rect": rect, "key_array": keys}


def at_the_right(key):
    """The key on a pad of half the width in the right half of the screen."""
    left, top, right, bottom = key["key_rect"]
    return {**key, "key_rect": [left // 2 + 540, top, right // 2 + 540, bottom]}


def nine_keys():
    """The keys of a pad of three by three."""
    return [{"key_rect": [80 + 310 * (i % 3), 1660 + 220 * (i // 3), 380 + 310 * (i % 3), 1870 + 220 * (i // 3)],
             "id": ord(str(i + 1))} for i in range(9)]


def on_nine_keys(rng, touches, clock):
    """The inputs of inputs(), touched on the nine keys."""
    digits = dict(zip("abcdefghijklmnopqrstuvwxyz", "22233344455566677778889999"))
    rects = {chr(key["id"]): key["key_rect"] for key in nine_keys()}
    for record in inputs(rng, touches, clock):
        at = [rects[digits[letter]] for letter in record["code"]]
        record["point"] = [[round(rng.gauss((l + r) / 2, 50)), round(rng.gauss((t + b) / 2, 40))] for l, t, r, b in at]
        yield record


def traces():
    rng = random.Random(5)
    whole = list(make_trace.PAD)
    yield "small", [*pad("PY26", whole, KEYS), *inputs(rng, 50)]
    yield "ten-thousand", [*pad("PY26", whole, KEYS), *inputs(rng, 10_000)]
    yield "hundred-thousand", [*pad("PY26", whole, KEYS), *inputs(rng, 99_950)]
    yield "two-pads", [*pad("PY26", whole, KEYS), *inputs(rng, 40), *pad("PY9", [0, 1650, 1080, 2334], nine_keys()),
                       *on_nine_keys(rng, 40, 20_000.0)]
    narrow = [at_the_right(key) for key in KEYS]
    yield "changed-layout", [*pad("PY26", whole, KEYS), *inputs(rng, 40),
                             {"type": "setLayout", "pad_rect": [540, 1650, 1080, 2334], "key_array": narrow},
                             *inputs(rng, 30, 30_000.0, narrow)]
    evil = "</script><script>document.title='taken'</script><!--<img src=x onerror=alert(1)>\u2028{{script}}'\"&amp;"
    yield "hostile", [*pad(evil, whole, KEYS),
                      {"type": "inputSelection", "expect": evil, "code": evil, "point": [[5, 1700]]}]


def make_pages(zentactl, folder):
    for name, records in traces():
        trace = folder / f"{name}.jsonl"
        trace.write_text("\n".join(json.dumps(record) for record in records) + "\n")
        subprocess.run([zentactl, "trace", trace, "--quiet", "--html", folder / f"{name}.html",
                        "--svg", folder / f"{name}.svg"], check=True)


# ---- What the checks read from a page

PIXELS = "return document.getElementById('pad').toDataURL()"  # the picture, to compare it with another


def clock(browser):
    """The position on the time line and its length, in seconds."""
    times = [[float(part) for part in reversed(text.split(":"))] for text in browser.text("#clock").split(" of ")]
    return tuple(sum(part * 60**i for i, part in enumerate(time)) for time in times)


def shown(browser):
    """The number of touches of the layout that are shown, and of all that it has."""
    words = browser.text("#caption").replace(",", "").split()
    return int(words[2]), int(words[4])


def place(browser, selector, part=0.5):
    """A point in the window, at half the element's height and `part` of the way from its left to its right."""
    box = browser.run("const b = document.querySelector(arguments[0]).getBoundingClientRect();"
                      "return [b.left, b.top, b.width, b.height]", selector)
    return box[0] + part * box[2], box[1] + box[3] / 2


def check_small(browser, folder):
    print("A page of 50 touches")
    browser.open(folder / "small.html")
    touches = [len(json.loads(line).get("point", [])) for line in (folder / "small.jsonl").open()]
    wanted = f"{sum(touches)} touches in {len(touches) - 2} inputs, 1 layout; "
    claim("it tells what the trace holds", browser.text("#totals").startswith(wanted), browser.text("#totals"))
    claim("it loads nothing", browser.run("return performance.getEntriesByType('resource').length") == 0)
    for selector, role, name in (("#pad", "image", "PY26 34 keys"), ("#list", "listbox", "Inputs"),
                                 ("#play", "button", "Play"), ("#position", "slider", "Position"),
                                 ("#layout", "combobox", "Layout"), ("#find", "searchbox", "Find"),
                                 ("#theme", "button", "Dark")):
        saw = browser.role_and_name(selector)
        claim(f"{selector} is the {role} {name}", saw[0] in (role, "img") and saw[1].startswith(name), saw)
    browser.picture(folder / "small.png")
    check_choosing(browser, folder)
    check_time_line(browser)
    check_colours(browser, folder)


def check_choosing(browser, folder):
    before = browser.run(PIXELS)
    browser.click("#list li:nth-child(3)")
    text = browser.text("#list li:nth-child(3) .text")
    count = int(browser.text("#list li:nth-child(3) .count").split()[0])
    heading, status = browser.text("#details-heading"), browser.text("#status")
    selected = browser.attribute("#list li:nth-child(3)", "aria-selected")
    claim("an input that is clicked is chosen", selected == "true", selected)
    claim("its touches are in the table", browser.count("#rows tr") == count, browser.count("#rows tr"))
    claim("the heading has its text", text in heading, heading)
    claim("it is announced", status.startswith(f"Input 3, {text}: {count} touches"), status)
    claim("Chinese text is marked as such", browser.attribute("#list li .text", "lang") == "zh-Hans")
    claim("the picture changes", browser.run(PIXELS) != before)
    browser.picture(folder / "small-chosen.png")
    browser.type("#list", ARROW_DOWN)
    active = browser.attribute("#list", "aria-activedescendant")
    claim("arrow down chooses the next", active == "input-3", active)
    browser.type("#list", ESCAPE)
    claim("escape shows all again", browser.run(PIXELS) == before)
    browser.type("#find", "tushu")
    wanted = browser.run("return inputs.filter((input) => input.code.includes('tushu')).length")
    claim("finding leaves those that have the text", browser.count("#list li") == wanted, browser.count("#list li"))
    browser.type("#find", BACKSPACE * 5)


def check_time_line(browser):
    browser.pointer(place(browser, "#position", 0.995), "down", place(browser, "#position", 0.5), "up")
    at, total = clock(browser)
    claim("the time line can be dragged", abs(at - total / 2) < total / 20, (at, total))
    before, all_of_them = shown(browser)
    claim("later touches are gone then", 0 < before < all_of_them, (before, all_of_them))
    browser.type("#position", ARROW_RIGHT)
    claim("arrow right shows the next touch", shown(browser)[0] == before + 1, shown(browser))
    words = browser.attribute("#position", "aria-valuetext")
    claim("the slider says which touch it is", f"touch {before + 1} of {all_of_them}. Input " in words, words)
    browser.click("#play")
    claim("play begins", browser.text("#play") == "Pause")
    before = clock(browser)[0]
    time.sleep(0.7)
    after = clock(browser)[0]
    claim("it goes on at the speed of the trace", 0.3 < after - before < 3, (before, after))
    browser.click("#play")
    stopped = clock(browser)[0]
    time.sleep(0.3)
    claim("pause holds it", browser.text("#play") == "Play" and clock(browser)[0] == stopped)
    browser.select("#speed", "200")
    browser.click("#play")
    time.sleep(0.7)
    claim("it ends at the end", browser.text("#play") == "Play" and clock(browser)[0] == total, browser.text("#clock"))


def check_colours(browser, folder):
    before = browser.run(PIXELS)
    browser.select("#colour", "middle")
    claim("colours tell the distance from the middle", browser.run(PIXELS) != before)
    claim("so does the legend", browser.text("#from") == "middle of the key", browser.text("#from"))
    browser.picture(folder / "small-middle.png")
    ground = "return getComputedStyle(document.body).backgroundColor"
    light = browser.run(ground)
    browser.click("#theme")
    claim("the button makes it dark", browser.run(ground) != light)
    claim("and says so", browser.attribute("#theme", "aria-pressed") == "true")
    browser.picture(folder / "small-dark.png")
    at = browser.run("""const layout = layouts[state.layout], view = viewOf(layout), [touch] = layout.touches;
                        const box = pad.getBoundingClientRect();
                        return [box.left + view.x(touch.x) / view.unit, box.top + view.y(touch.y) / view.unit]""")
    browser.pointer(at)
    claim("a touch under the pointer is told", ": hit " in browser.text("#tip"), browser.text("#tip"))
    browser.pointer(at, "down", "up")
    claim("and chosen by a click", browser.count("#list [aria-selected=true]") == 1)
    browser.prefer(color_scheme="dark", reduced_motion="reduce")
    browser.open(folder / "small.html")
    claim("it is dark where the system is", browser.run(ground) != light)
    browser.run("window.seeks = 0; const plain = seek; seek = (at) => { ++window.seeks; plain(at); }")
    browser.click("#play")
    time.sleep(1.2)
    seeks = browser.run("return window.seeks")
    claim("where less motion is wanted it moves twice a second", 2 <= seeks <= 4, seeks)
    browser.prefer(color_scheme="light")


def check_large(browser, folder):
    for name, least in (("ten-thousand", 10_000), ("hundred-thousand", 99_950)):
        print(f"A page of {least:,} touches")
        start = time.monotonic()
        browser.open(folder / f"{name}.html")
        claim("it opens within 15 s", time.monotonic() - start < 15)
        claim("all touches are there", least <= shown(browser)[0] <= 100_000, shown(browser))
        browser.picture(folder / f"{name}.png")
        browser.select("#speed", "200")
        browser.click("#play")
        time.sleep(1)
        claim("it plays", 50 < clock(browser)[0] < 1000, browser.text("#clock"))
        browser.click("#play")
        browser.picture(folder / f"{name}-playing.png")
        browser.type("#find", "a")
        browser.click("#next")
        browser.click("#list li:nth-child(7)")
        text = browser.text("#list li:nth-child(7) .text")
        claim("an input of the next page can be chosen", text in browser.text("#details-heading"), text)
        browser.picture(folder / f"{name}-chosen.png")


def check_layouts(browser, folder):
    for name, headings in (("two-pads", ("PY26", "PY9")),
                           ("changed-layout", ("PY26, layout 1 of 2", "PY26, layout 2 of 2"))):
        print(f"A page with the layouts {' and '.join(headings)}")
        browser.open(folder / f"{name}.html")
        claim("the first is shown", browser.text("#heading") == headings[0], browser.text("#heading"))
        browser.picture(folder / f"{name}-first.png")
        first = browser.run(PIXELS)
        browser.select("#layout", "1")
        claim("the other can be chosen", browser.text("#heading") == headings[1], browser.text("#heading"))
        claim("it looks different", browser.run(PIXELS) != first)
        browser.picture(folder / f"{name}-second.png")
        browser.click("#list li:first-child")
        claim("an input shows its own", browser.text("#heading") == headings[0], browser.text("#heading"))
        browser.pointer(place(browser, "#position", 0.2), "down", place(browser, "#position", 0.98), "up")
        claim("the time line turns to the other", browser.text("#heading") == headings[1], browser.text("#heading"))


def check_hostile(browser, folder):
    print("A page whose texts are markup")
    browser.open(folder / "hostile.html")
    title, text = browser.run("return document.title"), browser.text("#list li .text")
    claim("none of it runs", title == "hostile.jsonl", title)
    claim("there are the page's two scripts and no picture", browser.count("script") == 2 and browser.count("img") == 0)
    claim("it is shown as text", text.startswith("</script><script>"), text)
    claim("so is the pad's name", browser.text("#heading").startswith("</script><script>"), browser.text("#heading"))


def check_pictures(browser, folder):
    """Takes pictures of the SVG drawings, for a person to look at."""
    for name in ("small", "ten-thousand", "two-pads", "changed-layout"):
        browser.open(folder / f"{name}.svg")
        browser.picture(folder / f"{name}-svg.png")


def main():
    zentactl, folder = sys.argv[1], pathlib.Path(sys.argv[2])
    folder.mkdir(parents=True, exist_ok=True)
    make_pages(zentactl, folder)
    with Browser() as browser:
        for check in (check_small, check_large, check_layouts, check_hostile):
            check(browser, folder)
            complaints = browser.complaints()
            claim("the browser has nothing to complain of", complaints == [], complaints)
        check_pictures(browser, folder)
    print(f"{len(failures)} claims do not hold." if failures else f"All claims hold; pictures are in {folder}.")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
